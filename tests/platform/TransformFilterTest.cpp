// A transform between a counter source and a recording sink: what it copies onto the output
// samples, skipped and preroll samples, quality messages, flushing and stopping while streaming.
#include <gtest/gtest.h>

#include <climits>
#include <set>

#include "platform/TransformFilter.h"
#include "platform/TransformInputPin.h"
#include "platform/TransformOutputPin.h"
#include "support/TestFilters.h"

using namespace qv_test;

namespace {

constexpr int kOffset = 100;  // the transform adds this to every counter

// Adds kOffset to each counter, skips the counters in `skipped`, and records the properties of
// every output sample it fills.
class AddingTransform : public CTransformFilter {
public:
    AddingTransform() : CTransformFilter("adding transform", nullptr, GUID_NULL) {}

    HRESULT Transform(IMediaSample* in, IMediaSample* out) override {
        uint8_t* source = nullptr;
        uint8_t* target = nullptr;
        in->GetPointer(&source);
        out->GetPointer(&target);
        int value = 0;
        std::memcpy(&value, source, sizeof value);
        Filled filled;
        filled.value = value;
        auto* out2 = static_cast<IMediaSample2*>(out);
        out2->GetProperties(sizeof filled.props, reinterpret_cast<uint8_t*>(&filled.props));
        filled.mediaTime = out->GetMediaTime(&filled.mediaStart, &filled.mediaStop) == S_OK;
        {
            std::lock_guard<std::mutex> guard(lock);
            filled.skipped = skipped.count(value) != 0;
            fills.push_back(filled);
        }
        if (filled.skipped) return S_FALSE;
        value += kOffset;
        std::memcpy(target, &value, sizeof value);
        out->SetActualDataLength(sizeof value);
        return S_OK;
    }
    HRESULT CheckInputType(const CMediaType* type) override {
        return type->majortype == MEDIATYPE_Audio ? S_OK : S_FALSE;
    }
    HRESULT CheckTransform(const CMediaType*, const CMediaType* out) override {
        return out->majortype == MEDIATYPE_Video ? S_OK : S_FALSE;
    }
    HRESULT DecideBufferSize(IMemAllocator* alloc, ALLOCATOR_PROPERTIES* props) override {
        props->cBuffers = 2;
        props->cbBuffer = sizeof(int);
        ALLOCATOR_PROPERTIES actual;
        return alloc->SetProperties(props, &actual);
    }
    HRESULT GetMediaType(int i, CMediaType* type) override {
        if (i < 0) return E_INVALIDARG;
        if (i > 0) return VFW_S_NO_MORE_ITEMS;
        type->SetType(&MEDIATYPE_Video);
        return S_OK;
    }
    HRESULT AlterQuality(const Quality&) override { return takesQuality ? S_OK : S_FALSE; }

    struct Filled {
        int value = 0;
        bool skipped = false;
        AM_SAMPLE2_PROPERTIES props;
        bool mediaTime = false;
        int64_t mediaStart = 0, mediaStop = 0;
    };
    std::vector<Filled> Fills() {
        std::lock_guard<std::mutex> guard(lock);
        return fills;
    }

    std::set<int> skipped;      // set before streaming
    bool takesQuality = false;  // set before streaming

private:
    std::mutex lock;
    std::vector<Filled> fills;  // guarded by `lock`
};

// Source -> transform -> sink, connected; stopped (downstream first), disconnected and released
// at the end.
struct Chain {
    explicit Chain(int count)
        : source(new CounterSource(count, 2)),
          transform(new AddingTransform),
          sink(new RecordingSink) {
        source->AddRef();
        transform->AddRef();
        sink->AddRef();
        EXPECT_EQ(source->JoinFilterGraph(&events), S_OK);
        EXPECT_EQ(transform->JoinFilterGraph(&events), S_OK);
        EXPECT_EQ(sink->JoinFilterGraph(&events), S_OK);
    }
    ~Chain() {
        Stop();
        sink->pin->ReleaseHeld();
        for (IPin* pin : std::vector<IPin*>{source->pin, input(), output(), sink->pin})
            pin->Disconnect();
        source->Release();
        transform->Release();
        sink->Release();
    }
    CTransformInputPin* input() { return static_cast<CTransformInputPin*>(transform->GetPin(0)); }
    CTransformOutputPin* output() {
        return static_cast<CTransformOutputPin*>(transform->GetPin(1));
    }
    void Connect() {
        ASSERT_EQ(source->pin->Connect(input(), nullptr), S_OK);
        ASSERT_EQ(output()->Connect(sink->pin, nullptr), S_OK);
    }
    // Everything but the source, which stays stopped: the test feeds the input pin itself.
    void PauseDownstream() {
        Connect();
        ASSERT_EQ(sink->Pause(), S_OK);
        ASSERT_EQ(transform->Pause(), S_OK);
    }
    void Run() {
        PauseDownstream();
        ASSERT_EQ(source->Pause(), S_OK);
        ASSERT_EQ(sink->Run(0), S_OK);
        ASSERT_EQ(transform->Run(0), S_OK);
        ASSERT_EQ(source->Run(0), S_OK);
    }
    void Stop() {
        sink->Stop();
        transform->Stop();
        source->Stop();
    }
    std::vector<long> EventCodes() {
        std::vector<long> codes;
        long code = 0;
        LONG_PTR p1 = 0, p2 = 0;
        while (events.GetEvent(&code, &p1, &p2, 0) == S_OK) codes.push_back(code);
        return codes;
    }
    CMediaEventQueue events;  // outlives the filters' use of it: they are stopped first
    CounterSource* source;
    AddingTransform* transform;
    RecordingSink* sink;
};

std::vector<int> Offset(std::vector<int> values) {
    for (int& value : values) value += kOffset;
    return values;
}

// Samples of an allocator of the test's own, for feeding the transform's input pin directly.
struct Feeder {
    Feeder() {
        allocator->AddRef();
        ALLOCATOR_PROPERTIES request, actual;
        request.cBuffers = 4;
        request.cbBuffer = sizeof(int);
        allocator->SetProperties(&request, &actual);
        allocator->Commit();
    }
    ~Feeder() {
        allocator->Decommit();
        allocator->Release();
    }
    // Counter `value` with `props` (its buffer fields filled in here).
    HRESULT Feed(CTransformInputPin* pin, int value, AM_SAMPLE2_PROPERTIES props,
                 bool mediaTime = false) {
        IMediaSample* sample = nullptr;
        EXPECT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        auto* sample2 = static_cast<IMediaSample2*>(sample);
        sample->GetPointer(&props.pbBuffer);
        std::memcpy(props.pbBuffer, &value, sizeof value);
        props.cbBuffer = sample->GetSize();
        props.lActual = sizeof value;
        EXPECT_EQ(sample2->SetProperties(sizeof props, reinterpret_cast<uint8_t*>(&props)), S_OK);
        int64_t start = value * 7, stop = value * 7 + 7;
        if (mediaTime) sample->SetMediaTime(&start, &stop);
        const HRESULT hr = pin->Receive(sample);
        sample->Release();
        return hr;
    }
    CMemAllocator* allocator = new CMemAllocator("feeder");
};

TEST(TransformFilterTest, CopiesTheInputsPropertiesAndDropsPreroll) {
    Chain chain(0);
    chain.PauseDownstream();
    Feeder feeder;
    AM_SAMPLE2_PROPERTIES props;
    props.dwTypeSpecificFlags = 0xA5C3;
    props.dwSampleFlags = AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;
    props.tStart = 1000;
    props.tStop = 2000;
    ASSERT_EQ(feeder.Feed(chain.input(), 1, props, true), S_OK);
    AM_SAMPLE2_PROPERTIES preroll;
    preroll.dwSampleFlags = AM_SAMPLE_PREROLL;
    ASSERT_EQ(feeder.Feed(chain.input(), 2, preroll), S_OK);
    AM_SAMPLE2_PROPERTIES plain;
    plain.dwSampleFlags = AM_SAMPLE_DATADISCONTINUITY;
    plain.dwTypeSpecificFlags = 7;
    ASSERT_EQ(feeder.Feed(chain.input(), 3, plain), S_OK);

    EXPECT_EQ(chain.sink->pin->Events(), Offset({1, 3}));
    const auto fills = chain.transform->Fills();
    ASSERT_EQ(fills.size(), 2u);  // the preroll sample was never transformed
    const AM_SAMPLE2_PROPERTIES& first = fills[0].props;
    EXPECT_EQ(first.dwTypeSpecificFlags, 0xA5C3u);
    // The first sample after streaming starts begins a new run.
    EXPECT_EQ(first.dwSampleFlags, props.dwSampleFlags | AM_SAMPLE_DATADISCONTINUITY);
    EXPECT_EQ(first.tStart, 1000);
    EXPECT_EQ(first.tStop, 2000);
    EXPECT_TRUE(fills[0].mediaTime);
    EXPECT_EQ(fills[0].mediaStart, 7);
    EXPECT_EQ(fills[0].mediaStop, 14);
    const AM_SAMPLE2_PROPERTIES& third = fills[1].props;
    EXPECT_EQ(third.dwTypeSpecificFlags, 7u);
    EXPECT_EQ(third.dwSampleFlags, AM_SAMPLE_DATADISCONTINUITY);
    EXPECT_FALSE(fills[1].mediaTime);

    ASSERT_EQ(chain.transform->Stop(), S_OK);
    EXPECT_EQ(feeder.Feed(chain.input(), 4, plain), VFW_E_WRONG_STATE);
}

TEST(TransformFilterTest, SkippedSamplesMarkTheNextDiscontinuityAndReportQualityOnce) {
    Chain chain(0);
    chain.transform->skipped = {1, 2, 4};
    chain.PauseDownstream();
    Feeder feeder;
    for (int i = 0; i < 7; ++i) ASSERT_EQ(feeder.Feed(chain.input(), i, {}), S_OK);

    EXPECT_EQ(chain.sink->pin->Events(), Offset({0, 3, 5, 6}));
    std::vector<int> discontinuous;
    for (const auto& fill : chain.transform->Fills()) {
        if (!fill.skipped && (fill.props.dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY))
            discontinuous.push_back(fill.value);
    }
    EXPECT_EQ(discontinuous, (std::vector<int>{0, 3, 5}));
    // Once for 1 and 2 together, once for 4.
    EXPECT_EQ(chain.EventCodes(), (std::vector<long>{EC_QUALITY_CHANGE, EC_QUALITY_CHANGE}));
}

class TransformQualityTest : public testing::TestWithParam<bool> {};

TEST_P(TransformQualityTest, GoesUpstreamOnlyWhenTheFilterDeclines) {
    const bool takes = GetParam();
    Chain chain(0);
    chain.transform->takesQuality = takes;
    chain.Connect();
    Quality late;
    late.Late = 4321;
    EXPECT_EQ(chain.sink->pin->PassNotify(late), S_OK);
    const std::vector<Quality> upstream = chain.source->pin->Messages();
    ASSERT_EQ(upstream.size(), takes ? 0u : 1u);
    if (!takes) {
        EXPECT_EQ(upstream[0].Late, 4321);
    }
}

INSTANTIATE_TEST_SUITE_P(AlterQuality, TransformQualityTest, testing::Bool());

TEST(TransformFilterTest, StreamsInOrderWithoutPrerollThenEndOfStream) {
    Chain chain(20);
    chain.source->pin->prerolled = 2;
    chain.Run();
    ASSERT_TRUE(chain.sink->pin->WaitForEvents(19));
    std::vector<int> expected = Offset(Counting(2, 20));
    expected.push_back(kEndOfStream);
    EXPECT_EQ(chain.sink->pin->Events(), expected);
}

TEST(TransformFilterTest, FlushWhileTheSinkBlocksThenTheStreamGoesOn) {
    Chain chain(8);
    chain.sink->pin->gateAt = 3;
    chain.Run();
    chain.sink->pin->gateReached.Wait();
    ASSERT_EQ(chain.source->pin->DeliverBeginFlush(), S_OK);
    EXPECT_TRUE(chain.input()->IsFlushing());
    EXPECT_TRUE(chain.sink->pin->IsFlushing());
    chain.sink->pin->gateOpen.Set();  // sample 3 reaches the flushing sink and is refused
    ASSERT_EQ(chain.source->pin->StopWorker(), S_OK);
    ASSERT_EQ(chain.source->pin->DeliverEndFlush(), S_OK);
    EXPECT_FALSE(chain.sink->pin->IsFlushing());
    ASSERT_EQ(chain.source->pin->DeliverNewSegment(10, 100, 1.0), S_OK);
    EXPECT_EQ(chain.sink->pin->CurrentStartTime(), 10);
    EXPECT_EQ(chain.sink->pin->CurrentStopTime(), 100);
    ASSERT_EQ(chain.source->pin->PauseWorker(), S_OK);

    ASSERT_TRUE(chain.sink->pin->WaitForEvents(8));
    std::vector<int> expected = Offset({0, 1, 2, 4, 5, 6, 7});
    expected.push_back(kEndOfStream);
    EXPECT_EQ(chain.sink->pin->Events(), expected);
    // The first sample after the flush starts a new run.
    for (const auto& fill : chain.transform->Fills()) {
        const bool discontinuous = (fill.props.dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY) != 0;
        EXPECT_EQ(discontinuous, fill.value == 0 || fill.value == 4) << fill.value;
    }
}

TEST(TransformFilterTest, StopWhileStreamingEndsEveryThread) {
    Chain chain(INT_MAX);
    chain.Run();
    ASSERT_TRUE(chain.sink->pin->WaitForEvents(5));
    chain.Stop();
    EXPECT_FALSE(chain.source->pin->ThreadExists());
    const std::vector<int> seen = chain.sink->pin->Events();
    EXPECT_EQ(seen, Offset(Counting(0, static_cast<int>(seen.size()))));
}

TEST(TransformFilterTest, StopReleasesAReceiveWaitingForAnOutputBuffer) {
    Chain chain(INT_MAX);
    chain.sink->pin->hold = true;  // keeps both of the transform's buffers
    chain.Run();
    ASSERT_TRUE(chain.sink->pin->WaitForEvents(2));
    // The worker waits inside the transform's Receive for a buffer; the transform stops first.
    ASSERT_EQ(chain.transform->Stop(), S_OK);
    ASSERT_EQ(chain.source->Stop(), S_OK);
    EXPECT_FALSE(chain.source->pin->ThreadExists());
    EXPECT_EQ(chain.sink->pin->Events(), Offset({0, 1}));
}

TEST(TransformFilterTest, FailedFillAbortsTheGraphBeforeTheEndOfStreamArrives) {
    Chain chain(INT_MAX);
    chain.source->pin->failAt = 3;
    chain.Run();
    ASSERT_TRUE(chain.sink->pin->WaitForEvents(4));
    EXPECT_EQ(chain.sink->pin->Events().back(), kEndOfStream);
    EXPECT_EQ(chain.EventCodes(), (std::vector<long>{EC_ERRORABORT, EC_COMPLETE}));
}

TEST(TransformFilterTest, ConnectionFollowsTheInput) {
    Chain chain(0);
    EXPECT_EQ(chain.transform->GetPinCount(), 2);
    EXPECT_EQ(chain.input()->Name(), L"XForm In");
    EXPECT_EQ(chain.output()->Name(), L"XForm Out");
    EXPECT_EQ(chain.transform->GetPin(2), nullptr);
    EXPECT_EQ(chain.output()->Connect(chain.sink->pin, nullptr), E_UNEXPECTED);
    EXPECT_FALSE(chain.output()->IsConnected());

    ASSERT_EQ(chain.source->pin->Connect(chain.input(), nullptr), S_OK);
    EXPECT_EQ(chain.input()->CurrentMediaType().majortype, MEDIATYPE_Audio);  // the only one taken
    chain.sink->pin->accepted = MEDIATYPE_Audio;  // the transform offers none the sink takes
    EXPECT_EQ(chain.output()->Connect(chain.sink->pin, nullptr), VFW_E_TYPE_NOT_ACCEPTED);
    chain.sink->pin->accepted = MEDIATYPE_Video;
    ASSERT_EQ(chain.output()->Connect(chain.sink->pin, nullptr), S_OK);
}

}  // namespace

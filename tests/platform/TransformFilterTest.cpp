// A transform between a counter source and a recording sink: what it copies onto the output
// samples, skipped and preroll samples, quality messages, flushing and stopping while streaming.
// The flush case stands for the source stream's flush too: it passes through both.
#include <gtest/gtest.h>

#include <climits>
#include <set>

#include "platform/FilterGraph.h"
#include "platform/TransformFilter.h"
#include "platform/TransformInputPin.h"
#include "platform/TransformOutputPin.h"
#include "support/TestFilters.h"

using namespace qv_test;

namespace {

constexpr int kOffset = 100;  // the transform adds this to every counter

// Audio in, video out. Adds kOffset to each counter, skips those in `skipped`, and records the
// properties each output sample had when it came to Transform.
class AddingTransform : public CTransformFilter {
public:
    AddingTransform() : CTransformFilter("adding transform", nullptr, GUID_NULL) {}

    struct Filled {
        int value = 0;
        AM_SAMPLE2_PROPERTIES props;
        bool mediaTime = false;
        int64_t mediaStart = 0, mediaStop = 0;
        bool Discontinuous() const { return props.dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY; }
    };

    HRESULT Transform(IMediaSample* in, IMediaSample* out) override {
        Filled filled;
        uint8_t* bytes = nullptr;
        in->GetPointer(&bytes);
        std::memcpy(&filled.value, bytes, sizeof(int));
        static_cast<IMediaSample2*>(out)->GetProperties(sizeof filled.props,
                                                        reinterpret_cast<uint8_t*>(&filled.props));
        filled.mediaTime = out->GetMediaTime(&filled.mediaStart, &filled.mediaStop) == S_OK;
        const int value = filled.value + kOffset;
        out->GetPointer(&bytes);
        std::memcpy(bytes, &value, sizeof value);
        std::lock_guard<std::mutex> guard(lock);
        if (skipped.count(filled.value)) return S_FALSE;
        fills.push_back(filled);
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
        if (i != 0) return i < 0 ? E_INVALIDARG : VFW_S_NO_MORE_ITEMS;
        type->SetType(&MEDIATYPE_Video);
        return S_OK;
    }
    HRESULT AlterQuality(const Quality&) override { return takesQuality ? S_OK : S_FALSE; }

    // The samples delivered.
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

// Source -> transform -> sink in a graph, which stops, disconnects and releases them at the end.
// A pool of the test's own feeds the transform's input directly.
struct Chain {
    explicit Chain(int count) : source(new CounterSource(count, 2)) {
        for (CBaseFilter* filter : Filters()) EXPECT_EQ(graph.AddFilter(filter, L""), S_OK);
        pool->AddRef();
        ALLOCATOR_PROPERTIES request{2, sizeof(int), 0, 0}, actual;
        pool->SetProperties(&request, &actual);
        pool->Commit();
    }
    ~Chain() {
        pool->Decommit();
        pool->Release();
    }
    std::vector<CBaseFilter*> Filters() { return {sink, transform, source}; }
    CTransformInputPin* input() { return static_cast<CTransformInputPin*>(transform->GetPin(0)); }
    CTransformOutputPin* output() {
        return static_cast<CTransformOutputPin*>(transform->GetPin(1));
    }
    void Connect() {
        ASSERT_EQ(graph.ConnectDirect(source->pin, input(), nullptr), S_OK);
        ASSERT_EQ(graph.ConnectDirect(output(), sink->pin, nullptr), S_OK);
    }
    // `streaming`: the source runs too; else it stays stopped and the test feeds the input.
    void Run(bool streaming) {
        Connect();
        if (streaming) {
            ASSERT_EQ(graph.Run(), S_OK);
            return;
        }
        ASSERT_EQ(sink->Run(0), S_OK);
        ASSERT_EQ(transform->Run(0), S_OK);
    }
    HRESULT Feed(int value, AM_SAMPLE2_PROPERTIES props, bool mediaTime = false) {
        IMediaSample* sample = nullptr;
        EXPECT_EQ(pool->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        sample->GetPointer(&props.pbBuffer);
        std::memcpy(props.pbBuffer, &value, sizeof value);
        props.cbBuffer = sample->GetSize();
        props.lActual = sizeof value;
        static_cast<IMediaSample2*>(sample)->SetProperties(sizeof props,
                                                           reinterpret_cast<uint8_t*>(&props));
        int64_t start = value * 7, stop = value * 7 + 7;
        if (mediaTime) sample->SetMediaTime(&start, &stop);
        const HRESULT hr = input()->Receive(sample);
        sample->Release();
        return hr;
    }
    std::vector<long> EventCodes() {
        std::vector<long> codes;
        long code = 0;
        LONG_PTR p1 = 0, p2 = 0;
        while (graph.GetEvent(&code, &p1, &p2, 0) == S_OK) codes.push_back(code);
        return codes;
    }
    std::vector<int> Values() {
        std::vector<int> values;
        for (const auto& fill : transform->Fills()) values.push_back(fill.value);
        return values;
    }
    CFilterGraph graph;  // declared first: it goes after the pool, with the filters
    CounterSource* source;
    AddingTransform* transform = new AddingTransform;
    RecordingSink* sink = new RecordingSink;
    CMemAllocator* pool = new CMemAllocator("feeder");
};

TEST(TransformFilterTest, CopiesTheInputsPropertiesAndDropsPreroll) {
    Chain chain(0);
    chain.Run(false);
    AM_SAMPLE2_PROPERTIES timed, preroll, plain;
    timed.dwTypeSpecificFlags = 0xA5C3, timed.tStart = 1000, timed.tStop = 2000;
    timed.dwSampleFlags = AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;
    preroll.dwSampleFlags = AM_SAMPLE_PREROLL, plain.dwTypeSpecificFlags = 7;
    ASSERT_EQ(chain.Feed(1, timed, true), S_OK);
    ASSERT_EQ(chain.Feed(2, preroll), S_OK);
    ASSERT_EQ(chain.Feed(3, plain), S_OK);

    EXPECT_EQ(chain.sink->pin->Events(), (std::vector<int>{101, 103}));
    const auto fills = chain.transform->Fills();
    ASSERT_EQ(fills.size(), 2u);  // the preroll sample was never transformed
    EXPECT_EQ(fills[0].props.dwTypeSpecificFlags, 0xA5C3u);
    // The first sample after streaming starts begins a new run.
    EXPECT_EQ(fills[0].props.dwSampleFlags, timed.dwSampleFlags | AM_SAMPLE_DATADISCONTINUITY);
    EXPECT_EQ(fills[0].props.tStart, 1000);
    EXPECT_EQ(fills[0].props.tStop, 2000);
    EXPECT_TRUE(fills[0].mediaTime);
    EXPECT_EQ(fills[0].mediaStart, 7);
    EXPECT_EQ(fills[0].mediaStop, 14);
    EXPECT_EQ(fills[1].props.dwTypeSpecificFlags, 7u);
    EXPECT_EQ(fills[1].props.dwSampleFlags, 0u);
    EXPECT_FALSE(fills[1].mediaTime);

    ASSERT_EQ(chain.transform->Stop(), S_OK);
    EXPECT_EQ(chain.Feed(4, plain), VFW_E_WRONG_STATE);
}

TEST(TransformFilterTest, SkippedSamplesMarkTheNextDiscontinuityAndReportQualityOnce) {
    Chain chain(0);
    chain.transform->skipped = {1, 2, 4};
    chain.Run(false);
    for (int i = 0; i < 7; ++i) ASSERT_EQ(chain.Feed(i, {}), S_OK);

    EXPECT_EQ(chain.sink->pin->Events(), (std::vector<int>{100, 103, 105, 106}));
    std::vector<int> discontinuous;
    for (const auto& fill : chain.transform->Fills())
        if (fill.Discontinuous()) discontinuous.push_back(fill.value);
    EXPECT_EQ(discontinuous, (std::vector<int>{0, 3, 5}));
    // Once for 1 and 2 together, once for 4.
    EXPECT_EQ(chain.EventCodes(), (std::vector<long>{EC_QUALITY_CHANGE, EC_QUALITY_CHANGE}));
}

TEST(TransformFilterTest, QualityGoesUpstreamOnlyWhenTheFilterDeclines) {
    for (const bool takes : {false, true}) {
        Chain chain(0);
        chain.transform->takesQuality = takes;
        chain.Connect();
        Quality late;
        late.Late = 4321;
        EXPECT_EQ(chain.sink->pin->PassNotify(late), S_OK);
        const std::vector<Quality> upstream = chain.source->pin->Messages();
        EXPECT_EQ(upstream.size(), takes ? 0u : 1u);
        for (const Quality& q : upstream) EXPECT_EQ(q.Late, 4321);
    }
}

TEST(TransformFilterTest, FlushWhileTheSinkBlocksThenTheStreamGoesOn) {
    Chain chain(8);
    chain.sink->pin->gateAt = 3;
    chain.Run(true);
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
    EXPECT_EQ(chain.sink->pin->Events(),
              (std::vector<int>{100, 101, 102, 104, 105, 106, 107, kEndOfStream}));
    EXPECT_EQ(chain.sink->pin->Refusals(), 1);
    for (const auto& fill : chain.transform->Fills())  // after the flush a new run starts
        EXPECT_EQ(fill.Discontinuous(), fill.value == 0 || fill.value == 4) << fill.value;
}

// Stopped downstream first, or with the transform stopping first while the worker waits inside
// its Receive for a buffer (the sink keeps both).
TEST(TransformFilterTest, StopWhileStreamingEndsEveryThread) {
    for (const bool full : {false, true}) {
        Chain chain(INT_MAX);
        chain.sink->pin->hold = full;
        chain.Run(true);
        ASSERT_TRUE(chain.sink->pin->WaitForEvents(full ? 2 : 5));
        for (CBaseFilter* filter : chain.Filters()) {
            if (full && filter == chain.sink) continue;
            ASSERT_EQ(filter->Stop(), S_OK);
        }
        EXPECT_FALSE(chain.source->pin->ThreadExists());
        const std::vector<int> values = chain.Values();
        EXPECT_EQ(values, Counting(0, full ? 2 : static_cast<int>(values.size())));
    }
}

TEST(TransformFilterTest, OutputConnectsAfterTheInputWithTheTransformsTypes) {
    Chain chain(0);
    EXPECT_EQ(chain.output()->Connect(chain.sink->pin, nullptr), E_UNEXPECTED);
    ASSERT_EQ(chain.source->pin->Connect(chain.input(), nullptr), S_OK);
    EXPECT_EQ(chain.input()->CurrentMediaType().majortype, MEDIATYPE_Audio);
    chain.sink->pin->accepted = MEDIATYPE_Audio;  // the transform offers none the sink takes
    EXPECT_EQ(chain.output()->Connect(chain.sink->pin, nullptr), VFW_E_TYPE_NOT_ACCEPTED);
    chain.sink->pin->accepted = MEDIATYPE_Video;
    EXPECT_EQ(chain.output()->Connect(chain.sink->pin, nullptr), S_OK);
}

}  // namespace

// CRendererPosPassThru over a recording pin: calls reach the seeking interface of the output pin
// upstream; the last rendered time answers the current position when upstream does not.
#include <gtest/gtest.h>

#include "platform/RendererPosPassThru.h"
#include "support/TestFilters.h"

using namespace qv_test;

namespace {

constexpr REFERENCE_TIME kFrame = 400000;  // 25 frames a second

// A counter pin that answers IMediaSeeking with a few values; the rest is not offered.
class SeekingStream : public CounterStream, public IMediaSeeking {
public:
    explicit SeekingStream(CSource* filter) : CounterStream(filter, 0, 1) {}

    HRESULT QueryInterface(REFIID riid, void** ppv) override {
        return NonDelegatingQueryInterface(riid, ppv);
    }
    uint32_t AddRef() override { return CounterStream::AddRef(); }
    uint32_t Release() override { return CounterStream::Release(); }
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
        if (riid == IID_IMediaSeeking) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
        return CounterStream::NonDelegatingQueryInterface(riid, ppv);
    }

    HRESULT GetCapabilities(uint32_t*) override { return E_NOTIMPL; }
    HRESULT CheckCapabilities(uint32_t*) override { return E_NOTIMPL; }
    HRESULT IsFormatSupported(const GUID*) override { return E_NOTIMPL; }
    HRESULT QueryPreferredFormat(GUID*) override { return E_NOTIMPL; }
    HRESULT GetTimeFormat(GUID*) override { return E_NOTIMPL; }
    HRESULT IsUsingTimeFormat(const GUID* format) override {
        return *format == (frames ? TIME_FORMAT_FRAME : TIME_FORMAT_MEDIA_TIME) ? S_OK : S_FALSE;
    }
    HRESULT SetTimeFormat(const GUID*) override { return E_NOTIMPL; }
    HRESULT GetDuration(int64_t* duration) override { return *duration = 1234, S_OK; }
    HRESULT GetStopPosition(int64_t*) override { return E_NOTIMPL; }
    HRESULT GetCurrentPosition(int64_t* current) override {
        return knowsPosition ? (*current = 77, S_OK) : E_NOTIMPL;
    }
    HRESULT ConvertTimeFormat(int64_t* target, const GUID*, int64_t source, const GUID*) override {
        return *target = source / kFrame, S_OK;
    }
    HRESULT SetPositions(int64_t*, uint32_t, int64_t*, uint32_t) override { return E_NOTIMPL; }
    HRESULT GetPositions(int64_t*, int64_t*) override { return E_NOTIMPL; }
    HRESULT GetAvailable(int64_t*, int64_t*) override { return E_NOTIMPL; }
    HRESULT SetRate(double value) override { return rate = value, S_OK; }
    HRESULT GetRate(double*) override { return E_NOTIMPL; }
    HRESULT GetPreroll(int64_t*) override { return E_NOTIMPL; }

    bool knowsPosition = true;
    bool frames = false;
    double rate = 1.0;
};

struct Fixture {
    explicit Fixture(bool seeking) {
        source->AddRef();
        sink->AddRef();
        allocator->AddRef();
        position.NonDelegatingAddRef();  // lives on the stack: never released to zero
        // The plain counter pin goes away with its filter, the seeking one replaces it.
        if (seeking) {
            seekingPin = new SeekingStream(source);
            out = seekingPin;
        } else {
            out = source->pin;
        }
        ALLOCATOR_PROPERTIES request, actual;
        request.cBuffers = 1;
        request.cbBuffer = 4;
        allocator->SetProperties(&request, &actual);
        allocator->Commit();
    }
    ~Fixture() {
        out->Disconnect();
        sink->pin->Disconnect();
        allocator->Decommit();
        allocator->Release();
        source->Release();
        sink->Release();
    }
    void Render(REFERENCE_TIME start, REFERENCE_TIME stop) {
        IMediaSample* sample = nullptr;
        ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        sample->SetTime(&start, &stop);
        EXPECT_EQ(position.RegisterMediaTime(sample), S_OK);
        sample->Release();
    }
    CounterSource* source = new CounterSource(0, 1);
    RecordingSink* sink = new RecordingSink;
    CMemAllocator* allocator = new CMemAllocator("position test");
    SeekingStream* seekingPin = nullptr;  // owned by `source`
    CSourceStream* out = nullptr;
    HRESULT hr = S_OK;
    CRendererPosPassThru position{"position", nullptr, &hr, sink->pin};
};

TEST(RendererPosPassThruTest, ForwardsToTheSeekingInterfaceUpstream) {
    Fixture f(true);
    int64_t value = 0;
    EXPECT_EQ(f.position.GetDuration(&value), VFW_E_NOT_CONNECTED);
    ASSERT_EQ(f.seekingPin->Connect(f.sink->pin, nullptr), S_OK);
    IMediaSeeking* seeking = nullptr;
    ASSERT_EQ(f.position.NonDelegatingQueryInterface(IID_IMediaSeeking,
                                                     reinterpret_cast<void**>(&seeking)),
              S_OK);
    EXPECT_EQ(seeking->GetDuration(&value), S_OK);
    EXPECT_EQ(value, 1234);
    EXPECT_EQ(seeking->SetRate(2.0), S_OK);
    EXPECT_EQ(f.seekingPin->rate, 2.0);
    EXPECT_EQ(seeking->GetStopPosition(&value), E_NOTIMPL);
    seeking->Release();

    f.Render(10 * kFrame, 11 * kFrame);
    EXPECT_EQ(f.position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 77);  // upstream knows better
    f.seekingPin->knowsPosition = false;
    EXPECT_EQ(f.position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 10 * kFrame);
    f.seekingPin->frames = true;  // the kept media time is converted to upstream's format
    EXPECT_EQ(f.position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 10);
}

TEST(RendererPosPassThruTest, KeepsTheLastRenderedTimeWhenUpstreamCannotSeek) {
    Fixture f(false);
    ASSERT_EQ(f.out->Connect(f.sink->pin, nullptr), S_OK);
    int64_t value = -1;
    EXPECT_EQ(f.position.GetDuration(&value), E_NOTIMPL);
    EXPECT_EQ(f.position.GetCurrentPosition(&value), E_NOTIMPL);
    f.Render(500, 600);
    f.Render(600, 700);
    EXPECT_EQ(f.position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 600);
    EXPECT_EQ(f.position.EOS(), S_OK);
    EXPECT_EQ(f.position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 700);
    EXPECT_EQ(f.position.ResetMediaTime(), S_OK);
    EXPECT_EQ(f.position.GetCurrentPosition(&value), E_NOTIMPL);
}

}  // namespace

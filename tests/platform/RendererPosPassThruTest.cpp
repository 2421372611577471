// CRendererPosPassThru on a recording pin: calls reach the seeking interface of the output pin
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

TEST(RendererPosPassThruTest, ForwardsUpstreamAndKeepsTheLastRenderedTime) {
    auto* source = new CounterSource(0, 1);
    auto* seekingPin = new SeekingStream(source);
    auto* sink = new RecordingSink;
    auto* pool = new CMemAllocator("position test");
    for (IUnknown* object : std::vector<IUnknown*>{source, sink, pool}) object->AddRef();
    ALLOCATOR_PROPERTIES request, actual;
    request.cBuffers = request.cbBuffer = 1;
    pool->SetProperties(&request, &actual);
    pool->Commit();
    HRESULT hr = S_OK;
    CRendererPosPassThru position("position", nullptr, &hr, sink->pin);
    position.NonDelegatingAddRef();  // lives on the stack: never released to zero
    const auto render = [&](REFERENCE_TIME start, REFERENCE_TIME stop) {
        IMediaSample* sample = nullptr;
        ASSERT_EQ(pool->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        sample->SetTime(&start, &stop);
        EXPECT_EQ(position.RegisterMediaTime(sample), S_OK);
        sample->Release();
    };
    int64_t value = 0;
    EXPECT_EQ(position.GetDuration(&value), VFW_E_NOT_CONNECTED);

    ASSERT_EQ(seekingPin->Connect(sink->pin, nullptr), S_OK);  // looked up again at each call
    IMediaSeeking* seeking = nullptr;
    ASSERT_EQ(position.QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(&seeking)), S_OK);
    EXPECT_EQ(seeking->GetDuration(&value), S_OK);
    EXPECT_EQ(value, 1234);
    EXPECT_EQ(seeking->SetRate(2.0), S_OK);
    EXPECT_EQ(seekingPin->rate, 2.0);
    seeking->Release();
    EXPECT_EQ(position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 77);  // upstream knows better
    seekingPin->knowsPosition = false;
    EXPECT_EQ(position.GetCurrentPosition(&value), E_NOTIMPL);  // nothing rendered yet
    render(10 * kFrame, 11 * kFrame);
    render(11 * kFrame, 12 * kFrame);
    EXPECT_EQ(position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 11 * kFrame);
    EXPECT_EQ(position.EOS(), S_OK);  // the end of the last sample
    EXPECT_EQ(position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 12 * kFrame);
    seekingPin->frames = true;  // the kept media time is converted to upstream's format
    EXPECT_EQ(position.GetCurrentPosition(&value), S_OK);
    EXPECT_EQ(value, 12);
    EXPECT_EQ(position.ResetMediaTime(), S_OK);
    EXPECT_EQ(position.GetCurrentPosition(&value), E_NOTIMPL);

    seekingPin->Disconnect();
    sink->pin->Disconnect();
    pool->Decommit();
    for (IUnknown* object : std::vector<IUnknown*>{source, sink, pool}) object->Release();
}

}  // namespace

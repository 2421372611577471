#include "filters/MovieResizeThread.h"

#include "foundation/CUAutoLock.h"

namespace {

constexpr uint32_t kScaleHalf = 1;     // picture scale 1: a half of the full size
constexpr uint32_t kScaleQuarter = 2;  // picture scale 2: a quarter
constexpr uint32_t kYUY2PixelBytes = 2;
constexpr uint32_t kBGR4PixelBytes = 4;

}  // namespace

CMovieResizeThread::CMovieResizeThread(const DecoderConfig* config)
    : CPipelineWorker(kMutexName),
      m_pConfig(config),
      m_pResizer(CUCreate<CMBXImageResizeUtility>()) {
    Start(nullptr);
}

CMovieResizeThread::~CMovieResizeThread() {
    StopAndJoin();
}

int CMovieResizeThread::Run() {
    return RunSampleLoop([this](IMediaSample* sample) { ResizeOne(sample); });
}

void CMovieResizeThread::ResizeOne(IMediaSample* sample) {
    CDeliverThread* deliver = DeliverThread();
    IMediaSample* out = nullptr;
    HRESULT got = E_FAIL;
    if (deliver) {
        CUAutoLock work(m_pWorkLock.Get());
        got = deliver->OutputPin()->GetDeliveryBuffer(&out, nullptr, nullptr, 0);
    }
    if (!m_bStop.load() && !m_bFlushing.load() && SUCCEEDED(got) && out) {
        CUAutoLock work(m_pWorkLock.Get());
        const HRESULT hr = ResizeSample(sample, out);
        if (hr >= 0 && out->GetActualDataLength() != 0 && !m_bFlushing.load())
            deliver->PostSample(out);
    }
    if (out) out->Release();
}

HRESULT CMovieResizeThread::ResizeSample(IMediaSample* input, IMediaSample* output) {
    CUAutoLock work(m_pWorkLock.Get());
    if (!input || !output) return E_FAIL;
    uint8_t* source = nullptr;
    HRESULT hr = input->GetPointer(&source);
    if (hr != S_OK) return hr;
    const int32_t inputLength = input->GetActualDataLength();
    // A recycled output buffer keeps the length of its last use: clear it, so that nothing goes.
    if (inputLength <= 0) return output->SetActualDataLength(0), S_OK;
    auto length = static_cast<uint32_t>(inputLength);
    uint8_t* destination = nullptr;
    hr = output->GetPointer(&destination);
    if (hr != S_OK) return hr;

    const uint32_t scale = m_pConfig ? m_pConfig->pictureScale : 0;
    if (source && destination && m_pResizer && (scale == kScaleHalf || scale == kScaleQuarter)) {
        const uint32_t divisor = scale == kScaleHalf ? 2 : 4;
        const bool bgr4 = m_pConfig->pixelFormat == kPixelFormatBGR4;
        const CMBXImageResizeUtility::Size from{m_pConfig->fullWidth, m_pConfig->fullHeight};
        const CMBXImageResizeUtility::Size to{from.width / divisor, from.height / divisor};
        // The full size comes from the clip: a picture that the buffers cannot hold is dropped
        // rather than read or written out of bounds.
        const uint64_t pixelBytes = bgr4 ? kBGR4PixelBytes : kYUY2PixelBytes;
        const uint64_t sourceBytes = uint64_t{from.width} * from.height * pixelBytes;
        const uint64_t resultBytes = uint64_t{to.width} * to.height * pixelBytes;
        const int32_t room = output->GetSize();
        if (sourceBytes > length || room < 0 || resultBytes > static_cast<uint32_t>(room)) {
            length = 0;
        } else if (bgr4) {
            m_pResizer->ResizeBGR4(source, destination, &length, from, to);
        } else {
            m_pResizer->ResizeYUY2(source, destination, &length, from, to);
        }
    }

    hr = output->SetActualDataLength(static_cast<int32_t>(length));
    // A length that the buffer cannot take leaves nothing to deliver.
    if (hr != S_OK) return hr;
    REFERENCE_TIME start = 0, stop = 0;
    const HRESULT timed = input->GetTime(&start, &stop);
    if (SUCCEEDED(timed))
        output->SetTime(&start, timed == VFW_S_NO_STOP_TIME ? nullptr : &stop);
    else
        output->SetTime(nullptr, nullptr);  // a recycled buffer keeps no stale times

    void* in2 = nullptr;
    void* out2 = nullptr;
    if (FAILED(input->QueryInterface(IID_IMediaSample2, &in2)) || !in2) return hr;
    if (FAILED(output->QueryInterface(IID_IMediaSample2, &out2)) || !out2) {
        static_cast<IMediaSample2*>(in2)->Release();
        return hr;
    }
    auto* from2 = static_cast<IMediaSample2*>(in2);
    auto* to2 = static_cast<IMediaSample2*>(out2);
    AM_SAMPLE2_PROPERTIES inProps, outProps;
    hr = from2->GetProperties(sizeof inProps, reinterpret_cast<uint8_t*>(&inProps));
    if (SUCCEEDED(hr))
        hr = to2->GetProperties(sizeof outProps, reinterpret_cast<uint8_t*>(&outProps));
    if (SUCCEEDED(hr)) {
        outProps.dwTypeSpecificFlags = inProps.dwTypeSpecificFlags;
        hr = to2->SetProperties(sizeof outProps, reinterpret_cast<const uint8_t*>(&outProps));
    }
    to2->Release();
    from2->Release();
    return hr;
}

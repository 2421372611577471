#include "filters/ConvertThread.h"

#include <climits>

#include "foundation/CUAutoLock.h"

CConvertThread::CConvertThread(const MatchingParameters& parameters, uint32_t processorCount)
    : CPipelineWorker(kMutexName),
      m_pMaker(CUCreate<CMBXMatchingImageMaker>(processorCount)),
      m_Parameters(parameters) {
    if (m_pMaker) {
        m_pMaker->SetParameters(parameters);
        m_pMaker->Start();
    }
    Start(nullptr);
}

CConvertThread::~CConvertThread() {
    StopAndJoin();
    if (m_pMaker) m_pMaker->Stop();
}

void CConvertThread::SetParameters(const MatchingParameters& parameters) {
    std::lock_guard<std::mutex> guard(m_csParameters);
    m_Parameters = parameters;
    if (m_pMaker) m_pMaker->SetParameters(parameters);
}

MatchingParameters CConvertThread::Parameters() {
    std::lock_guard<std::mutex> guard(m_csParameters);
    return m_Parameters;
}

bool CConvertThread::Fits(const MatchingParameters& p, int64_t inputBytes, int64_t outputBytes,
                          int32_t* pictureBytes) {
    const int64_t width = p.width > 0 ? p.width : 0;
    const int64_t height = p.height > 0 ? p.height : 0;
    // Every factor is below 2^32 and at most three meet, so none of these products can wrap.
    const int64_t inputNeeded = width * height * matching::BytesPerInputPixel(p.pixelFormat);
    const int64_t outputNeeded =
        (width + static_cast<int64_t>(p.linePadding)) * height * kOutputBytesPerPixel;
    if (inputNeeded > inputBytes || outputNeeded > outputBytes || outputNeeded > INT32_MAX)
        return false;
    *pictureBytes = static_cast<int32_t>(outputNeeded);
    return true;
}

void CConvertThread::ConvertOne(IMediaSample* in) {
    CDeliverThread* deliver = DeliverThread();
    IMediaSample* out = nullptr;
    const HRESULT got =
        deliver ? deliver->OutputPin()->GetDeliveryBuffer(&out, nullptr, nullptr, 0) : E_FAIL;
    if (m_bStop.load() || m_bFlushing.load() || FAILED(got) || !out) {
        if (out) out->Release();
        return;
    }
    {
        CUAutoLock work(m_pWorkLock.Get());
        uint8_t* input = nullptr;
        uint8_t* output = nullptr;
        REFERENCE_TIME start = 0, stop = 0;
        const HRESULT timed = in->GetTime(&start, &stop);
        const int32_t length = in->GetActualDataLength();
        std::lock_guard<std::mutex> guard(m_csParameters);
        int32_t pictureBytes = 0;
        if (m_pMaker && length > 0 && in->GetPointer(&input) == S_OK && input &&
            out->GetPointer(&output) == S_OK && output &&
            Fits(m_Parameters, length, out->GetSize(), &pictureBytes)) {
            uint32_t typeFlags = 0;
            void* object = nullptr;
            if (SUCCEEDED(in->QueryInterface(IID_IMediaSample2, &object)) && object) {
                auto* in2 = static_cast<IMediaSample2*>(object);
                AM_SAMPLE2_PROPERTIES properties;
                if (SUCCEEDED(in2->GetProperties(sizeof properties,
                                                 reinterpret_cast<uint8_t*>(&properties)))) {
                    typeFlags = properties.dwTypeSpecificFlags;
                    m_pMaker->SetPictureFlag(typeFlags != 0);
                }
                in2->Release();
            }
            m_pMaker->Convert(input, output);
            // The converted picture's size: the input's length counts bytes of another layout.
            out->SetActualDataLength(pictureBytes);
            if (timed == S_OK)
                out->SetTime(&start, &stop);
            else if (timed == VFW_S_NO_STOP_TIME)
                out->SetTime(&start, nullptr);
            out->SetSyncPoint(in->IsSyncPoint() == S_OK);
            out->SetDiscontinuity(in->IsDiscontinuity() == S_OK);
            object = nullptr;
            if (typeFlags != 0 && SUCCEEDED(out->QueryInterface(IID_IMediaSample2, &object)) &&
                object) {
                auto* out2 = static_cast<IMediaSample2*>(object);
                AM_SAMPLE2_PROPERTIES properties;
                if (SUCCEEDED(out2->GetProperties(sizeof properties,
                                                  reinterpret_cast<uint8_t*>(&properties)))) {
                    properties.dwTypeSpecificFlags = typeFlags;
                    out2->SetProperties(sizeof properties,
                                        reinterpret_cast<const uint8_t*>(&properties));
                }
                out2->Release();
            }
            if (!m_bFlushing.load()) deliver->PostSample(out);
        }
    }
    out->Release();
}

int CConvertThread::Run() {
    // Without a maker the worker still passes markers and acknowledges flushes, so that the
    // stream and its flushes end; its pictures are dropped.
    return RunSampleLoop([this](IMediaSample* sample) { ConvertOne(sample); });
}

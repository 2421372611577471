#include "filters/DecodeThread.h"

#include "foundation/CUAutoLock.h"

CDecodeThread::CDecodeThread(CUSharedPtr<IMBXMovieDecoder> decoder, const DecoderConfig* config,
                             uint8_t mp4Source)
    : CPipelineWorker(kMutexName),
      m_pDecoder(std::move(decoder)),
      m_pConfig(config),
      m_bMp4Source(mp4Source) {
    Start(nullptr);
}

CDecodeThread::~CDecodeThread() {
    StopAndJoin();
}

size_t CDecodeThread::FrameListCount() {
    std::lock_guard<std::mutex> guard(m_csFrameList);
    return m_FrameList.size();
}

void CDecodeThread::StartSegment(const SegmentRecord& record) {
    {
        std::lock_guard<std::mutex> guard(m_csFrameList);
        m_FrameList.clear();
    }
    CUAutoLock work(m_pWorkLock.Get());
    if (!m_pDecoder->Uninitialize() || !m_pDecoder->Initialize(m_pConfig)) return;
    m_rtLastStart = -1;
    if (CDeliverThread* deliver = DeliverThread())
        deliver->PostNewSegment(record.start, record.stop, record.rate);
}

int CDecodeThread::Run() {
    const bool owner = TakeMachineMutex();
    IMediaSample* sample = nullptr;
    bool more = false;
    uint32_t callsWithoutInput = 0;
    m_nInputOffset = 0;
    while (owner && m_pDecoder && !m_bStop.load()) {
        if (!more) {
            if (sample) sample->Release();
            sample = nullptr;
            m_nInputOffset = 0;
            callsWithoutInput = 0;
            std::unique_ptr<SegmentRecord> segment;
            const QueueItem item = TakeItem(&segment);
            if (item == kQueueNewSegment) {
                if (segment) StartSegment(*segment);
                continue;
            }
            if (item == 0) {
                if (!AwaitItems()) break;
                continue;
            }
            if (item == kQueueEndOfStream) {
                {
                    CUAutoLock work(m_pWorkLock.Get());
                    DrainDecoder();
                }
                if (CDeliverThread* deliver = DeliverThread()) deliver->PostEndOfStream();
                continue;
            }
            if (item == kQueueFlush) {
                m_pFlushDone->Set();
                continue;
            }
            sample = CMediaSampleQueue::AsSample(item);
        }

        CDeliverThread* deliver = DeliverThread();
        IMediaSample* out = nullptr;
        const HRESULT got =
            deliver ? deliver->OutputPin()->GetDeliveryBuffer(&out, nullptr, nullptr, 0) : E_FAIL;
        if (m_bStop.load()) {
            if (out) out->Release();
            break;
        }
        if (m_bFlushing.load() || FAILED(got) || !out) {
            more = false;
            if (out) out->Release();
            continue;
        }
        {
            CUAutoLock work(m_pWorkLock.Get());
            if (m_pConfig->decoderKind == DecoderKindHEVC && sample->IsDiscontinuity() == S_OK &&
                FrameListCount() > 0)
                DrainDecoder();
            const HRESULT hr = DecodeOne(sample, out, &more);
            if (hr == S_OK && out->GetActualDataLength() != 0 && !m_bFlushing.load())
                deliver->PostSample(out);
            // A failed call, or a decoder that keeps giving without taking, ends the sample.
            if (FAILED(hr)) more = false;
            if (more && m_nLastConsumed == 0 && ++callsWithoutInput >= kMaxCallsWithoutInput)
                more = false;
        }
        out->Release();
    }
    if (sample) sample->Release();
    DrainQueue(*m_pQueue);
    ReleaseMachineMutex();
    return 0;
}

HRESULT CDecodeThread::DecodeOne(IMediaSample* sample, IMediaSample* out, bool* more) {
    m_nLastConsumed = 0;
    if (!m_pDecoder || !out) return E_FAIL;
    uint8_t* input = nullptr;
    uint32_t inputSize = 0;
    if (sample) {
        const HRESULT hr = sample->GetPointer(&input);
        if (hr != S_OK) return hr;
        const int32_t length = sample->GetActualDataLength();
        if (length <= 0) return S_OK;
        inputSize = static_cast<uint32_t>(length);
        if (m_nInputOffset > inputSize) m_nInputOffset = inputSize;
    }
    uint8_t* output = nullptr;
    HRESULT hr = out->GetPointer(&output);
    if (FAILED(hr)) return hr;

    uint32_t written = 0, consumed = 0;
    uint8_t frameReady = 0;
    const uint32_t offered = inputSize - m_nInputOffset;
    m_pDecoder->Decode(input ? input + m_nInputOffset : nullptr, static_cast<int32_t>(offered),
                       output, static_cast<uint32_t>(out->GetSize()), &written, &frameReady,
                       &consumed);
    if (consumed > offered) consumed = offered;  // a decoder's miscount never reads past the end
    m_nLastConsumed = consumed;
    if (!frameReady && consumed == 0) return E_FAIL;

    if (consumed == offered) {
        m_nInputOffset = 0;
        *more = false;
        if (sample) {
            REFERENCE_TIME start = 0, stop = 0;
            sample->GetTime(&start, &stop);
            if (m_rtLastStart > start) return E_FAIL;
            std::lock_guard<std::mutex> guard(m_csFrameList);
            if (m_pConfig->decoderKind == DecoderKindMPEG2 && !frameReady) m_FrameList.clear();
            m_FrameList.emplace_back(start, stop, sample->IsPreroll() == S_OK);
        }
    } else {
        m_nInputOffset += consumed;
        *more = true;
    }
    if (!frameReady) {
        out->SetActualDataLength(0);
        return S_OK;
    }
    if (written > static_cast<uint32_t>(INT32_MAX)) return E_FAIL;
    hr = out->SetActualDataLength(static_cast<int32_t>(written));
    if (FAILED(hr)) return hr;
    FrameInfo info(0, 0, false);
    {
        std::lock_guard<std::mutex> guard(m_csFrameList);
        if (m_FrameList.empty()) return E_FAIL;
        info = m_FrameList.front();
        m_FrameList.pop_front();
    }
    if (info.m_bDiscard) {
        out->SetActualDataLength(0);
        return S_OK;
    }
    REFERENCE_TIME start = info.m_rtStart, stop = info.m_rtStop;
    out->SetTime(&start, &stop);
    // Every decoded picture stands on its own; the first one of a segment starts a new run.
    out->SetSyncPoint(true);
    out->SetDiscontinuity(m_rtLastStart == -1);
    m_rtLastStart = start;
    void* object = nullptr;
    if (SUCCEEDED(out->QueryInterface(IID_IMediaSample2, &object)) && object) {
        auto* sample2 = static_cast<IMediaSample2*>(object);
        AM_SAMPLE2_PROPERTIES properties;
        hr = sample2->GetProperties(sizeof properties, reinterpret_cast<uint8_t*>(&properties));
        if (SUCCEEDED(hr)) {
            properties.dwTypeSpecificFlags = m_pDecoder->GetPictureFlags();
            hr = sample2->SetProperties(sizeof properties,
                                        reinterpret_cast<const uint8_t*>(&properties));
        }
        sample2->Release();
        return hr;
    }
    return S_OK;
}

void CDecodeThread::DrainDecoder() {
    CDeliverThread* deliver = DeliverThread();
    if (!deliver) return;
    for (;;) {
        IMediaSample* out = nullptr;
        if (FAILED(deliver->OutputPin()->GetDeliveryBuffer(&out, nullptr, nullptr, 0)) || !out)
            return;
        if (m_bStop.load()) {
            out->Release();
            return;
        }
        const size_t before = FrameListCount();
        bool more = false;
        if (FAILED(DecodeOne(nullptr, out, &more))) {
            out->Release();
            return;
        }
        if (out->GetActualDataLength() == 0) {
            const size_t after = FrameListCount();
            if (after == 0 || after == before) {
                out->Release();
                return;
            }
        } else if (!m_bFlushing.load()) {
            deliver->PostSample(out);
        }
        out->Release();
    }
}

int CDecodeThread::SkipLateInput(REFERENCE_TIME limit, bool longGop, REFERENCE_TIME window) {
    m_pQueue->Lock();
    int result = 0;
    const size_t count = m_pQueue->GetCount();
    size_t index = 0;
    for (size_t pass = 0; pass < count; ++pass) {
        const QueueItem item = m_pQueue->PeekAt(index);
        if (item == 0) break;
        if (CMediaSampleQueue::IsMarker(item)) {
            result = 1;
            break;
        }
        IMediaSample* sample = CMediaSampleQueue::AsSample(item);
        REFERENCE_TIME start = 0, stop = 0;
        sample->GetTime(&start, &stop);
        if (start >= limit + window) {
            result = 1;
            break;
        }
        if (!longGop) {
            CMediaSampleQueue::AsSample(m_pQueue->RemoveAt(0))->Release();
        } else if (sample->IsSyncPoint() == S_OK) {
            ++index;
        } else if (!m_bMp4Source) {
            CMediaSampleQueue::AsSample(m_pQueue->RemoveAt(index))->Release();
        } else {
            sample->SetPreroll(true);
            ++index;
        }
    }
    {
        // The newest time stays: its picture is the one that may still be in time.
        std::lock_guard<std::mutex> guard(m_csFrameList);
        const float bound = static_cast<float>(limit) + static_cast<float>(window) / 2;
        for (size_t i = 0; i + 1 < m_FrameList.size(); ++i) {
            if (static_cast<float>(m_FrameList[i].m_rtStart) < bound) {
                m_FrameList[i].m_bDiscard = 1;
                break;
            }
        }
    }
    m_pQueue->Unlock();
    return result;
}

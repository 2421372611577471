#include "filters/SoundSplitterInputPin.h"

#include <cstddef>

#include "filters/QueuedOutputPin.h"
#include "filters/SoundSplit.h"
#include "filters/SoundSplitterFilter.h"
#include "filters/WaveFormat.h"
#include "foundation/CUAutoLock.h"

CSoundSplitterInputPin::CSoundSplitterInputPin(CSoundSplitterFilter* filter, CURecursiveLock* lock,
                                               HRESULT* phr)
    : CBaseInputPin("sound splitter input", filter, lock, phr, L"Audio In"), m_pSplitter(filter) {}

HRESULT CSoundSplitterInputPin::CheckMediaType(const CMediaType* pmt) {
    if (!m_pSplitter || !pmt) return E_POINTER;
    if (!wave_format::IsPCMAudio(*pmt)) return VFW_E_TYPE_NOT_ACCEPTED;
    if (!pmt->Format()) return S_OK;
    wave_format::WaveFormat format;
    if (!wave_format::Read(*pmt, &format) || format.channels == 0 ||
        format.channels > CSoundSplitterFilter::kMaxChannels ||
        !sound_split::IsSupportedWidth(format.bitsPerSample))
        return VFW_E_TYPE_NOT_ACCEPTED;
    return m_pSplitter->TakeFormat(format.channels, format.bitsPerSample);
}

HRESULT CSoundSplitterInputPin::CompleteConnect(IPin* pReceivePin) {
    const HRESULT hr = CBaseInputPin::CompleteConnect(pReceivePin);
    if (FAILED(hr)) return hr;
    return m_pSplitter->CreateOutputPins();
}

void CSoundSplitterInputPin::StoreProperties(IMediaSample* pSample) {
    m_SampleProps = AM_SAMPLE2_PROPERTIES();
    IMediaSample2* sample2 = nullptr;
    if (SUCCEEDED(pSample->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample2)))) {
        // Up to the stream id: the type and buffer pointers are the sample's, not ours to keep.
        constexpr uint32_t kSize = offsetof(AM_SAMPLE2_PROPERTIES, pMediaType);
        const HRESULT hr =
            sample2->GetProperties(kSize, reinterpret_cast<uint8_t*>(&m_SampleProps));
        sample2->Release();
        m_SampleProps.cbData = kSize;
        if (SUCCEEDED(hr)) return;
        m_SampleProps = AM_SAMPLE2_PROPERTIES();
    }
    const HRESULT timed = pSample->GetTime(&m_SampleProps.tStart, &m_SampleProps.tStop);
    if (timed == S_OK) m_SampleProps.dwSampleFlags |= AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID;
    if (timed == VFW_S_NO_STOP_TIME) m_SampleProps.dwSampleFlags |= AM_SAMPLE_TIMEVALID;
    if (pSample->IsSyncPoint() == S_OK) m_SampleProps.dwSampleFlags |= AM_SAMPLE_SPLICEPOINT;
    if (pSample->IsPreroll() == S_OK) m_SampleProps.dwSampleFlags |= AM_SAMPLE_PREROLL;
    if (pSample->IsDiscontinuity() == S_OK)
        m_SampleProps.dwSampleFlags |= AM_SAMPLE_DATADISCONTINUITY;
    m_SampleProps.lActual = pSample->GetActualDataLength();
}

HRESULT CSoundSplitterInputPin::Receive(IMediaSample* pSample) {
    if (!m_pSplitter) return E_POINTER;
    HRESULT hr = CBaseInputPin::Receive(pSample);
    if (hr != S_OK) return hr;
    CUAutoLock receive(m_pSplitter->ReceiveLock());
    // Stop may have come while this thread waited for the lock.
    if (IsStopped()) return VFW_E_WRONG_STATE;
    StoreProperties(pSample);
    AM_MEDIA_TYPE* changed = nullptr;
    if (pSample->GetMediaType(&changed) == S_OK) {
        const CMediaType type(*changed);
        DeleteMediaType(changed);
        if (CheckMediaType(&type) != S_OK) return VFW_E_INVALIDMEDIATYPE;
    }
    if (!m_pSplitter->OutputsConnected()) return E_FAIL;
    return m_pSplitter->Process(pSample, m_SampleProps);
}

HRESULT CSoundSplitterInputPin::EndOfStream() {
    if (!m_pSplitter) return E_POINTER;
    CUAutoLock receive(m_pSplitter->ReceiveLock());
    for (int i = 0; i < CSoundSplitterFilter::kOutputPins; ++i) {
        CQueuedOutputPin* pin = m_pSplitter->OutputPin(i);
        if (!pin) continue;
        const HRESULT hr = pin->DeliverEndOfStream();
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

HRESULT CSoundSplitterInputPin::BeginFlush() {
    if (!m_pSplitter) return E_POINTER;
    CUAutoLock lock(m_pLock);
    for (int i = 0; i < CSoundSplitterFilter::kOutputPins; ++i) {
        CQueuedOutputPin* pin = m_pSplitter->OutputPin(i);
        if (!pin) continue;
        const HRESULT hr = pin->DeliverBeginFlush();
        if (FAILED(hr)) return hr;
    }
    return CBaseInputPin::BeginFlush();
}

HRESULT CSoundSplitterInputPin::EndFlush() {
    if (!m_pSplitter) return E_POINTER;
    CUAutoLock lock(m_pLock);
    CBaseInputPin::EndFlush();
    // No sample from before the flush leaves after it: the one in progress ends first.
    CUAutoLock receive(m_pSplitter->ReceiveLock());
    for (int i = 0; i < CSoundSplitterFilter::kOutputPins; ++i) {
        CQueuedOutputPin* pin = m_pSplitter->OutputPin(i);
        if (!pin) continue;
        const HRESULT hr = pin->DeliverEndFlush();
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

HRESULT CSoundSplitterInputPin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop,
                                           double dRate) {
    if (!m_pSplitter) return E_POINTER;
    CUAutoLock receive(m_pSplitter->ReceiveLock());
    for (int i = 0; i < CSoundSplitterFilter::kOutputPins; ++i) {
        CQueuedOutputPin* pin = m_pSplitter->OutputPin(i);
        if (!pin) continue;
        const HRESULT hr = pin->DeliverNewSegment(tStart, tStop, dRate);
        if (FAILED(hr)) return hr;
    }
    return S_OK;
}

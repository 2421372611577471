#include "platform/RendererPosPassThru.h"

CRendererPosPassThru::CRendererPosPassThru(const char* name, IUnknown* outer, HRESULT* phr,
                                           IPin* pPin)
    : CUnknown(name, outer), m_pPin(pPin) {
    if (phr && !pPin && SUCCEEDED(*phr)) *phr = E_INVALIDARG;
}

HRESULT CRendererPosPassThru::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    if (riid == IID_IMediaSeeking) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CRendererPosPassThru::GetPeerSeeking(IMediaSeeking** ppSeeking) {
    *ppSeeking = nullptr;
    if (!m_pPin) return VFW_E_NOT_CONNECTED;
    IPin* peer = nullptr;
    if (FAILED(m_pPin->ConnectedTo(&peer)) || !peer) return VFW_E_NOT_CONNECTED;
    const HRESULT hr = peer->QueryInterface(IID_IMediaSeeking, reinterpret_cast<void**>(ppSeeking));
    peer->Release();
    if (FAILED(hr)) {
        *ppSeeking = nullptr;
        return E_NOTIMPL;
    }
    return S_OK;
}

HRESULT CRendererPosPassThru::GetCapabilities(uint32_t* pCapabilities) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->GetCapabilities(pCapabilities); });
}
HRESULT CRendererPosPassThru::CheckCapabilities(uint32_t* pCapabilities) {
    return Forward(
        [&](IMediaSeeking* seeking) { return seeking->CheckCapabilities(pCapabilities); });
}
HRESULT CRendererPosPassThru::IsFormatSupported(const GUID* pFormat) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->IsFormatSupported(pFormat); });
}
HRESULT CRendererPosPassThru::QueryPreferredFormat(GUID* pFormat) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->QueryPreferredFormat(pFormat); });
}
HRESULT CRendererPosPassThru::GetTimeFormat(GUID* pFormat) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->GetTimeFormat(pFormat); });
}
HRESULT CRendererPosPassThru::IsUsingTimeFormat(const GUID* pFormat) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->IsUsingTimeFormat(pFormat); });
}
HRESULT CRendererPosPassThru::SetTimeFormat(const GUID* pFormat) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->SetTimeFormat(pFormat); });
}
HRESULT CRendererPosPassThru::GetDuration(int64_t* pDuration) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->GetDuration(pDuration); });
}
HRESULT CRendererPosPassThru::GetStopPosition(int64_t* pStop) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->GetStopPosition(pStop); });
}
HRESULT CRendererPosPassThru::ConvertTimeFormat(int64_t* pTarget, const GUID* pTargetFormat,
                                                int64_t source, const GUID* pSourceFormat) {
    return Forward([&](IMediaSeeking* seeking) {
        return seeking->ConvertTimeFormat(pTarget, pTargetFormat, source, pSourceFormat);
    });
}
HRESULT CRendererPosPassThru::SetPositions(int64_t* pCurrent, uint32_t currentFlags, int64_t* pStop,
                                           uint32_t stopFlags) {
    return Forward([&](IMediaSeeking* seeking) {
        return seeking->SetPositions(pCurrent, currentFlags, pStop, stopFlags);
    });
}
HRESULT CRendererPosPassThru::GetPositions(int64_t* pCurrent, int64_t* pStop) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->GetPositions(pCurrent, pStop); });
}
HRESULT CRendererPosPassThru::GetAvailable(int64_t* pEarliest, int64_t* pLatest) {
    return Forward(
        [&](IMediaSeeking* seeking) { return seeking->GetAvailable(pEarliest, pLatest); });
}
HRESULT CRendererPosPassThru::SetRate(double rate) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->SetRate(rate); });
}
HRESULT CRendererPosPassThru::GetRate(double* pRate) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->GetRate(pRate); });
}
HRESULT CRendererPosPassThru::GetPreroll(int64_t* pPreroll) {
    return Forward([&](IMediaSeeking* seeking) { return seeking->GetPreroll(pPreroll); });
}

HRESULT CRendererPosPassThru::GetCurrentPosition(int64_t* pCurrent) {
    if (!pCurrent) return E_POINTER;
    IMediaSeeking* seeking = nullptr;
    const HRESULT found = GetPeerSeeking(&seeking);
    if (found == VFW_E_NOT_CONNECTED) return found;
    HRESULT hr = seeking ? seeking->GetCurrentPosition(pCurrent) : E_NOTIMPL;
    if (hr == E_NOTIMPL) {
        REFERENCE_TIME position = 0;
        {
            std::lock_guard<std::mutex> guard(lock);
            if (timeValid) {
                position = ended ? stop : start;
                hr = S_OK;
            }
        }
        // The kept time is media time; upstream may count in another format.
        if (hr == S_OK && seeking &&
            seeking->IsUsingTimeFormat(&TIME_FORMAT_MEDIA_TIME) == S_FALSE) {
            hr = seeking->ConvertTimeFormat(&position, &TIME_FORMAT_NONE, position,
                                            &TIME_FORMAT_MEDIA_TIME);
        }
        if (hr == S_OK) *pCurrent = position;
    }
    if (seeking) seeking->Release();
    return hr;
}

HRESULT CRendererPosPassThru::RegisterMediaTime(IMediaSample* pSample) {
    if (!pSample) return E_POINTER;
    REFERENCE_TIME sampleStart = 0;
    REFERENCE_TIME sampleStop = 0;
    if (FAILED(pSample->GetTime(&sampleStart, &sampleStop))) return S_FALSE;
    std::lock_guard<std::mutex> guard(lock);
    timeValid = true;
    ended = false;
    start = sampleStart;
    stop = sampleStop;
    return S_OK;
}

HRESULT CRendererPosPassThru::ResetMediaTime() {
    std::lock_guard<std::mutex> guard(lock);
    timeValid = false;
    ended = false;
    return S_OK;
}

HRESULT CRendererPosPassThru::EOS() {
    std::lock_guard<std::mutex> guard(lock);
    ended = true;
    return S_OK;
}

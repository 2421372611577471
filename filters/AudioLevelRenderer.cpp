#include "filters/AudioLevelRenderer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "filters/FilterCreators.h"

CUnknown* CreateAudioLevelRendererMXF(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CAudioLevelRenderer(outer, phr, CLSID_AudioLevelRenderer, false);
}

CUnknown* CreateAudioLevelRendererMP4(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CAudioLevelRenderer(outer, phr, CLSID_MP4AudioLevelRenderer, true);
}

CAudioLevelRenderer::CAudioLevelRenderer(IUnknown* outer, HRESULT* phr, REFCLSID clsid,
                                         bool mp4Flavour)
    : CBaseRenderer(clsid, "CAudioLevelRenderer", outer, phr), m_bMp4Flavour(mp4Flavour) {
    // The base's pin is replaced by one of this filter's name; nothing is connected yet.
    delete m_pInputPin;
    m_pInputPin = new (std::nothrow) CRendererInputPin(this, phr, L"Input");
    if (!m_pInputPin && phr) *phr = E_OUTOFMEMORY;
}

HRESULT CAudioLevelRenderer::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMSFAudioLevelRenderer)
        return GetInterface(static_cast<IMSFAudioLevelRenderer*>(this), ppv);
    return CBaseRenderer::NonDelegatingQueryInterface(riid, ppv);
}

void CAudioLevelRenderer::SetLevelWindow(HWND window, uint32_t message) {
    m_hLevelWindow.store(window);
    m_uLevelMessage.store(message);
}

HRESULT CAudioLevelRenderer::CheckMediaType(const CMediaType* pmt) {
    if (!pmt) return E_POINTER;
    const GUID& major = m_bMp4Flavour ? MEDIATYPE_MP4AudioLevel : MEDIATYPE_MXFAudioLevel;
    return *pmt->Type() == major && *pmt->Subtype() == MEDIASUBTYPE_PrivateStream ? S_OK
                                                                                  : E_INVALIDARG;
}

HRESULT CAudioLevelRenderer::PrepareReceive(IMediaSample*) {
    m_bShownInPause = false;
    return S_OK;
}

void CAudioLevelRenderer::OnReceiveFirstSample(IMediaSample* pSample) {
    DoRenderSample(pSample);
    m_bShownInPause = true;
}

HRESULT CAudioLevelRenderer::DoRenderSample(IMediaSample* pSample) {
    if (!pSample) return E_POINTER;
    if (std::exchange(m_bShownInPause, false)) return S_OK;  // the meters have it already
    std::lock_guard<std::mutex> guard(m_csLevel);
    uint8_t* buffer = nullptr;
    if (FAILED(pSample->GetPointer(&buffer)) || !buffer) return S_OK;
    uint8_t bytes[kPostedBytes] = {};
    const auto available = static_cast<uint32_t>(std::max(pSample->GetSize(), 0));
    std::memcpy(bytes, buffer, std::min(available, kPostedBytes));
    uint32_t words[2];
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "levels are little-endian");
    std::memcpy(words, bytes, sizeof words);
    PostMessageW(m_hLevelWindow.load(), m_uLevelMessage.load(), WPARAM{words[0]},
                 static_cast<LPARAM>(uint64_t{words[1]}));
    return S_OK;
}

#include "filters/MXFParseFilter.h"

#include <new>

#include "filters/AudioOutputPins.h"
#include "filters/MXFVideoOutputPin.h"
#include "filters/TimecodeOutputPins.h"

CUnknown* MXFParseFilter::CreateInstance(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) MXFParseFilter(outer, phr);
}

MXFParseFilter::MXFParseFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid)
    : CParseFilter("MXFParseFilter", outer, clsid) {
    HRESULT pinResult = S_OK;
    auto* video = new (std::nothrow) MXFVideoOutputPin(&pinResult, this, &m_csShared);
    auto* audio = new (std::nothrow) MXFAudioOutputPin(&pinResult, this, &m_csShared);
    auto* timecode = new (std::nothrow) MXFTimecodeOutputPin(&pinResult, this, &m_csShared);
    AdoptPins(video, audio, timecode, pinResult, phr);
}

HRESULT MXFParseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMXFParserFilter)
        return GetInterface(static_cast<IMXFParserFilter*>(this), ppv);
    return CParseFilter::NonDelegatingQueryInterface(riid, ppv);
}

void MXFParseFilter::SetPictureScale(uint32_t scale) {
    if (auto* video = static_cast<MXFVideoOutputPin*>(m_pVideoPin)) video->SetPictureScale(scale);
}

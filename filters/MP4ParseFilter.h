// MP4ParseFilter: the parser filter of MP4-family clips. Its pins are MP4VideoOutputPin
// ("Video_"), MP4AudioOutputPin ("Audio_") and MP4TimecodeOutputPin ("Time_"). Besides what
// CParseFilter does, Load starts the image library from the host program's folder (its failure
// does not stop the filter) and gives every pin the video track's GOP length (0 when the clip has
// no MP4 wrapper).
// Threads, ownership and failures: see CParseFilter.
#pragma once

#include "filters/ParseFilter.h"

class MP4ParseFilter : public CParseFilter, public IMP4ParserFilter {
public:
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

    MP4ParseFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid = CLSID_MP4ParseFilter);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    void SetPictureScale(uint32_t scale) override;

protected:
    void BeforeOpen() override;
    void GiveClip(CParserOutputPin* pin, StreamManager* manager) override;
};

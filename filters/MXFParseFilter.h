// MXFParseFilter: the parser filter of MXF-family clips (clip information files, MXF member lists,
// lone MXF files). Its pins are MXFVideoOutputPin ("Video_"), MXFAudioOutputPin ("Audio_") and
// MXFTimecodeOutputPin ("Time_"). Everything else is CParseFilter's.
// Threads, ownership and failures: see CParseFilter.
#pragma once

#include "filters/ParseFilter.h"

class MXFParseFilter : public CParseFilter, public IMXFParserFilter {
public:
    // The creator of the module's class table; `phr` as the constructor leaves it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

    MXFParseFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid = CLSID_MXFParseFilter);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    void SetPictureScale(uint32_t scale) override;
};

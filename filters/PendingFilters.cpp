#include "filters/FilterCreators.h"
#include "foundation/CULog.h"

namespace {

CUnknown* NotBuiltYet(const char* className, HRESULT* phr) {
    Log(CULogLevelWarning, "%hs is not built yet", className);
    if (phr) *phr = E_NOTIMPL;
    return nullptr;
}

}  // namespace

CUnknown* CreateSoundMixerFilter(IUnknown*, HRESULT* phr) {
    return NotBuiltYet("CSoundMixerFilter", phr);
}

CUnknown* CreateSoundSplitterFilterMXF(IUnknown*, HRESULT* phr) {
    return NotBuiltYet("CSoundSplitterFilter", phr);
}

CUnknown* CreateAudioLevelRendererMXF(IUnknown*, HRESULT* phr) {
    return NotBuiltYet("CAudioLevelRenderer", phr);
}

CUnknown* CreateAudioLevelRendererMP4(IUnknown*, HRESULT* phr) {
    return NotBuiltYet("CAudioLevelRenderer", phr);
}

CUnknown* CreateSoundSplitterFilterMP4(IUnknown*, HRESULT* phr) {
    return NotBuiltYet("CSoundSplitterFilter", phr);
}

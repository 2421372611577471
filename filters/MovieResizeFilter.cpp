#include "filters/FilterCreators.h"
#include "foundation/CULog.h"

// Until the filter arrives: the row's creator logs and declines.
CUnknown* CreateMovieResizeFilter(IUnknown*, HRESULT* phr) {
    Log(CULogLevelWarning, "%hs is not built yet", "CMovieResizeFilter");
    if (phr) *phr = E_NOTIMPL;
    return nullptr;
}

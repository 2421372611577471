#include "filters/FilterCreators.h"
#include "foundation/CULog.h"

// Until the filter arrives: the row's creator logs and declines.
CUnknown* CreateConvertFilter(IUnknown*, HRESULT* phr) {
    Log(CULogLevelWarning, "%hs is not built yet", "CConvertFilter");
    if (phr) *phr = E_NOTIMPL;
    return nullptr;
}

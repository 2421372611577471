#include "filters/ClassFactory.h"

CClassFactory::CClassFactory(const CFactoryTemplate* factoryRow)
    : CUnknown("CClassFactory"), row(factoryRow) {}

HRESULT CClassFactory::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    if (riid == IID_IClassFactory) return GetInterface(static_cast<IClassFactory*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (outer && iid != IID_IUnknown) return E_NOINTERFACE;

    HRESULT hr = S_OK;
    CUnknown* object = row->create(outer, &hr);
    if (!object) return FAILED(hr) ? hr : E_OUTOFMEMORY;
    if (FAILED(hr)) {
        delete object;
        return hr;
    }
    // Held across the query, so that an object without the interface goes with the release.
    object->NonDelegatingAddRef();
    hr = object->NonDelegatingQueryInterface(iid, out);
    object->NonDelegatingRelease();
    return hr;
}

HRESULT CClassFactory::LockServer(bool lock) {
    ::LockServer(lock);
    return S_OK;
}

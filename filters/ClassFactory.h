// IClassFactory and CClassFactory: what DllGetClassObject hands out, one factory per request, bound
// to one row of the class table. CreateInstance runs the row's creator and answers the interface
// asked for; LockServer keeps the module loaded without a live object.
//
// Aggregation: with an outer unknown only IID_IUnknown may be asked for (the outer object needs
// the inner one's non-delegating face).
// Threads: any thread; a factory keeps no state besides its row and its reference count.
// Ownership: a factory is a CUnknown and counts as a live object until its last Release; the row
// is static data. A made object belongs to the caller through the returned interface.
// Failures of CreateInstance: E_POINTER for a null out pointer; E_NOINTERFACE for another
// interface than IID_IUnknown with an outer unknown, or one the object does not have; the
// creator's failure code (an object made alongside it is deleted); E_OUTOFMEMORY when the creator
// gave nothing and no failure.
#pragma once

#include "filters/FactoryTemplate.h"
#include "platform/InterfaceIds.h"
#include "platform/Unknown.h"

// {7176000A-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IClassFactory = qv_iid_detail::Make(0x7176000A);

class IClassFactory : public IUnknown {
public:
    virtual HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** out) = 0;
    virtual HRESULT LockServer(bool lock) = 0;
};

class CClassFactory : public CUnknown, public IClassFactory {
public:
    explicit CClassFactory(const CFactoryTemplate* row);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    HRESULT LockServer(bool lock) override;

private:
    const CFactoryTemplate* const row;
};

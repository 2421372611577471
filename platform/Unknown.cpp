#include "platform/Unknown.h"

namespace {
std::atomic<int64_t> liveObjects{0};
std::atomic<int64_t> serverLocks{0};
}  // namespace

CUnknown::CUnknown(const char* objectName, IUnknown* outer)
    : name(objectName), owner(outer ? outer : &self) {
    liveObjects.fetch_add(1);
}

CUnknown::~CUnknown() {
    liveObjects.fetch_sub(1);
}

HRESULT CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    if (riid == IID_IUnknown) {
        // The non-delegating face, so that an outer object can hold its inner one.
        *ppv = &self;
        NonDelegatingAddRef();
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

uint32_t CUnknown::NonDelegatingAddRef() {
    return static_cast<uint32_t>(refCount.fetch_add(1) + 1);
}

uint32_t CUnknown::NonDelegatingRelease() {
    const int32_t left = refCount.fetch_sub(1) - 1;
    if (left == 0) {
        // Guards against a destructor that takes and drops a reference of its own.
        refCount.store(1);
        delete this;
        return 0;
    }
    return static_cast<uint32_t>(left);
}

int64_t CUnknown::LiveObjectCount() {
    return liveObjects.load();
}

HRESULT CanUnloadNow() {
    return liveObjects.load() == 0 && serverLocks.load() == 0 ? S_OK : S_FALSE;
}

void LockServer(bool lock) {
    if (lock)
        serverLocks.fetch_add(1);
    else
        serverLocks.fetch_sub(1);
}

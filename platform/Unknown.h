// IUnknown and CUnknown: the COM-style object model of the graph runtime.
//
// IUnknown counts references atomically and answers QueryInterface. CUnknown implements it for a
// class, with NonDelegatingQueryInterface as the place where subclasses add their interfaces, and
// with aggregation: an object made with an outer unknown delegates its IUnknown to it. Every live
// CUnknown is counted process-wide, which is what DllCanUnloadNow asks.
// Threads: AddRef and Release may be called from any thread; the last Release deletes.
// Failures: QueryInterface answers E_POINTER for a null out pointer, E_NOINTERFACE for an
// interface the object does not have (and sets *ppv to null).
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/Guid.h"
#include "platform/HResult.h"

// {00000000-0000-0000-C000-000000000046}
inline constexpr IID IID_IUnknown{
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

class IUnknown {
public:
    virtual HRESULT QueryInterface(REFIID riid, void** ppv) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;

protected:
    virtual ~IUnknown() = default;  // objects go through Release
};

// The non-delegating half of an aggregatable object.
class INonDelegatingUnknown {
public:
    virtual HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
    virtual uint32_t NonDelegatingAddRef() = 0;
    virtual uint32_t NonDelegatingRelease() = 0;

protected:
    virtual ~INonDelegatingUnknown() = default;
};

class CUnknown : public INonDelegatingUnknown {
public:
    // `outer` null: the object is its own outer unknown.
    explicit CUnknown(const char* name, IUnknown* outer = nullptr);
    CUnknown(const CUnknown&) = delete;
    CUnknown& operator=(const CUnknown&) = delete;
    virtual ~CUnknown();

    // Answers IUnknown (as this object's non-delegating unknown); subclasses add theirs and
    // fall back to this.
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    uint32_t NonDelegatingAddRef() override;
    uint32_t NonDelegatingRelease() override;

    IUnknown* GetOwner() const { return owner; }
    const char* Name() const { return name; }

    // Live CUnknown objects in the process.
    static int64_t LiveObjectCount();

protected:
    std::atomic<int32_t> refCount{0};

private:
    // This object's own IUnknown when it is not aggregated: forwards to the non-delegating half.
    class Self final : public IUnknown {
    public:
        explicit Self(CUnknown& object) : object(object) {}
        HRESULT QueryInterface(REFIID riid, void** ppv) override {
            return object.NonDelegatingQueryInterface(riid, ppv);
        }
        uint32_t AddRef() override { return object.NonDelegatingAddRef(); }
        uint32_t Release() override { return object.NonDelegatingRelease(); }

    private:
        CUnknown& object;
    };

    const char* name;
    Self self{*this};
    IUnknown* owner;  // the outer unknown, or `self`
};

// Implements IUnknown for a class derived from CUnknown and an interface: forwards to the owner.
#define DECLARE_IUNKNOWN                                       \
    HRESULT QueryInterface(REFIID riid, void** ppv) override { \
        return GetOwner()->QueryInterface(riid, ppv);          \
    }                                                          \
    uint32_t AddRef() override {                               \
        return GetOwner()->AddRef();                           \
    }                                                          \
    uint32_t Release() override {                              \
        return GetOwner()->Release();                          \
    }

// Hands out `object` as interface T with a reference taken.
template <class T>
HRESULT GetInterface(T* object, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = object;
    object->AddRef();
    return S_OK;
}

// DllCanUnloadNow's answer: S_OK when no object and no lock is alive, else S_FALSE.
HRESULT CanUnloadNow();
void LockServer(bool lock);

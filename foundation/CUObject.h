// CUObject: the root of the class tree, with an atomic intrusive reference count.
//
// A new object has count 0 and belongs to nobody until the first CUSharedPtr takes it. Taking a
// reference adds 1; dropping one adds -1 and destroys the object when the count was below 2.
// Only the count is safe between threads. Objects may also live as plain locals or members; those
// are never handed to a shared pointer.
//
// Creation convention: CUCreate<T>(...) gives a null pointer instead of failing when memory is
// exhausted, and callers test for null after every creation.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <string>
#include <utility>

#include "foundation/CUSharedPtr.h"

class CUStringWin;

class CUObject {
public:
    CUObject() noexcept = default;
    // A copy is a new object: it starts unowned, whatever the count of its source.
    CUObject(const CUObject&) noexcept {}
    CUObject& operator=(const CUObject&) noexcept { return *this; }
    virtual ~CUObject();

    // "<class>(0x<address>)": the demangled run-time class name and the address.
    virtual CUSharedPtr<CUStringWin> Description() const;
    virtual CUObject* Self() noexcept { return this; }

    int32_t RetainCount() const noexcept { return refCount.load(); }

private:
    friend void cu_detail::Retain(const CUObject*) noexcept;
    friend void cu_detail::Release(const CUObject*) noexcept;

    mutable std::atomic<int32_t> refCount{0};
};

namespace cu_detail {
inline void Retain(const CUObject* object) noexcept { object->refCount.fetch_add(1); }
inline void Release(const CUObject* object) noexcept {
    if (object->refCount.fetch_add(-1) < 2) delete object;
}
}  // namespace cu_detail

// The "%s(0x%p)" form of any object, used by Description overrides that extend it.
std::string CUObjectDescriptionText(const CUObject& object);

// Makes a T with the allocator that answers null on exhaustion.
template <class T, class... Args>
CUSharedPtr<T> CUCreate(Args&&... args) {
    return CUSharedPtr<T>(new (std::nothrow) T(std::forward<Args>(args)...));
}

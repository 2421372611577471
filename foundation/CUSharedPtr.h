// CUSharedPtr<T>: the value type through which every long-lived CUObject is held.
//
// The count is intrusive (it lives in the CUObject), so a pointer is two machine words and a
// container slot costs no allocation beyond the object. Copies of one pointer may be taken and
// dropped on any number of threads; a single CUSharedPtr variable is not atomic and must not be
// written while another thread reads it.
//
// Conversion to a base class is implicit; conversion to a derived class is explicit and checked at
// run time: an object of another class gives a null pointer.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

class CUObject;

namespace cu_detail {
// Defined in CUObject.h; kept out of line of the template so that a CUSharedPtr<T> can be declared
// for an incomplete T.
void Retain(const CUObject* object) noexcept;
void Release(const CUObject* object) noexcept;
}  // namespace cu_detail

template <class T>
class CUSharedPtr {
public:
    using element_type = T;

    CUSharedPtr() noexcept = default;
    CUSharedPtr(std::nullptr_t) noexcept {}
    CUSharedPtr(T* pointer) noexcept : ptr(pointer) { RetainPointer(ptr); }
    CUSharedPtr(const CUSharedPtr& other) noexcept : ptr(other.ptr) { RetainPointer(ptr); }
    CUSharedPtr(CUSharedPtr&& other) noexcept : ptr(std::exchange(other.ptr, nullptr)) {}

    // Up-cast: a plain pointer conversion with a reference taken.
    template <class U>
        requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>)
    CUSharedPtr(const CUSharedPtr<U>& other) noexcept : ptr(other.Get()) {
        RetainPointer(ptr);
    }
    template <class U>
        requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>)
    CUSharedPtr(CUSharedPtr<U>&& other) noexcept : ptr(other.Detach()) {}

    // Down-cast (or cross-cast): checked through the CUObject root; another class gives null.
    template <class U>
        requires(!std::is_same_v<U, T> && !std::is_convertible_v<U*, T*>)
    explicit CUSharedPtr(const CUSharedPtr<U>& other) noexcept
        : ptr(other ? dynamic_cast<T*>(static_cast<CUObject*>(other.Get())) : nullptr) {
        RetainPointer(ptr);
    }

    virtual ~CUSharedPtr() { ReleasePointer(std::exchange(ptr, nullptr)); }

    // The new object gains its reference before the old one loses its own, so assigning a
    // pointer to itself is safe.
    CUSharedPtr& operator=(const CUSharedPtr& other) noexcept { return Reset(other.ptr); }
    CUSharedPtr& operator=(CUSharedPtr&& other) noexcept {
        if (this != &other) ReleasePointer(std::exchange(ptr, std::exchange(other.ptr, nullptr)));
        return *this;
    }
    CUSharedPtr& operator=(T* pointer) noexcept { return Reset(pointer); }
    CUSharedPtr& operator=(std::nullptr_t) noexcept { return Reset(nullptr); }

    CUSharedPtr& Reset(T* pointer = nullptr) noexcept {
        RetainPointer(pointer);
        T* old = ptr;
        ptr = pointer;
        ReleasePointer(old);
        return *this;
    }

    // The raw pointer; no reference is taken.
    T* Get() const noexcept { return ptr; }
    T* operator->() const noexcept { return ptr; }
    T& operator*() const noexcept { return *ptr; }
    explicit operator bool() const noexcept { return ptr != nullptr; }

    // Gives up this pointer's reference to the caller without touching the count.
    T* Detach() noexcept { return std::exchange(ptr, nullptr); }

    template <class U>
    bool operator==(const CUSharedPtr<U>& other) const noexcept {
        return ptr == other.Get();
    }
    bool operator==(std::nullptr_t) const noexcept { return ptr == nullptr; }

private:
    static void RetainPointer(T* p) noexcept {
        if (p) cu_detail::Retain(static_cast<const CUObject*>(p));
    }
    static void ReleasePointer(T* p) noexcept {
        if (p) cu_detail::Release(static_cast<const CUObject*>(p));
    }

    T* ptr = nullptr;
};

// CUArray: an ordered sequence of CUSharedPtr<CUObject> slots, any of which may be null.
// CUMutableArray may be changed; it adds no member. No lock of its own: an array filled by one
// thread may be read by several once filling has ended; any other sharing needs an outside lock.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/CUObject.h"

class CUSortDescriptor;

class CUArray : public CUObject {
public:
    CUArray() = default;

    // "{\r\n" then "\t<element>\r\n" for each slot ("<NULL>" for a null one), then "}".
    CUSharedPtr<CUStringWin> Description() const override;

    uint64_t Count() const { return slots.size(); }
    // An index at or beyond the count gives null and no failure.
    CUSharedPtr<CUObject> ObjectAtIndex(uint64_t index) const {
        return index < slots.size() ? slots[index] : CUSharedPtr<CUObject>();
    }
    // A new array of the same objects in stable sorted order; null for a null descriptor or
    // when the new array cannot be made.
    CUSharedPtr<CUArray> SortedArrayUsingDescriptor(const CUSharedPtr<CUSortDescriptor>& descriptor) const;

protected:
    std::vector<CUSharedPtr<CUObject>> slots;
};

class CUMutableArray : public CUArray {
public:
    // Appends; null may be appended. Capacity grows to max(capacity * 3/2, count + 1).
    void AddObject(const CUSharedPtr<CUObject>& object);
    // Appends each element of `array` in order; null or empty changes nothing.
    void AddObjectsFromArray(const CUSharedPtr<CUArray>& array);
    // Destroys all slots and keeps the capacity.
    void RemoveAllObjects() { slots.clear(); }
};

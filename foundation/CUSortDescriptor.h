// CUSortDescriptor: decides the order of CUArray::SortedArrayUsingDescriptor.
//
// The sort asks `comparator->Compare(left, right)`. With `order` 1, left goes first when the
// result is 1 or more; with any other order, when it is negative. Equal elements keep their order.
// Subclasses override Compare; the base gives 0, which leaves any array as it is.
#pragma once

#include <cstdint>

#include "foundation/CUObject.h"

class CUSortDescriptor : public CUObject {
public:
    CUSortDescriptor() : comparator(this) {}
    CUSortDescriptor(const CUSortDescriptor&) = delete;
    CUSortDescriptor& operator=(const CUSortDescriptor&) = delete;

    virtual int32_t Compare(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b);

    int32_t order = 1;
    // Borrowed: the descriptor whose Compare decides; the descriptor itself unless set.
    CUSortDescriptor* comparator;
};

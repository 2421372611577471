// CULockAbstract: the lock interface. Lock and Unlock do nothing in this class; CURecursiveLock
// gives them a body. Takes CUObject as a virtual base.
#pragma once

#include "foundation/CUObject.h"

class CULockAbstract : public virtual CUObject {
public:
    virtual void Lock() {}
    virtual void Unlock() {}
};

// CUWaitHandle: the common root of everything a thread can wait for.
//
// Wait blocks until the object is ready and says whether the wait succeeded. This base has
// nothing to wait for and answers false at once; CUThread and CUEventWaitHandle give it a body.
// Takes CUObject as a virtual base.
#pragma once

#include "foundation/CUObject.h"

class CUWaitHandle : public virtual CUObject {
public:
    virtual bool Wait() { return false; }
};

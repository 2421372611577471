// CUManualResetEvent: an event that, once Set, stays signalled and releases every waiter until
// Reset. Starts not signalled. Threads and failures as CUEventWaitHandle.
#pragma once

#include "foundation/CUEventWaitHandle.h"

class CUManualResetEvent : public CUEventWaitHandle {
public:
    CUManualResetEvent() : CUEventWaitHandle(true, false) {}
};

// CUAutoResetEvent: an event that releases one waiter per Set and falls back as it does so.
// Starts signalled if asked. Threads and failures as CUEventWaitHandle.
#pragma once

#include "foundation/CUEventWaitHandle.h"

class CUAutoResetEvent : public CUEventWaitHandle {
public:
    explicit CUAutoResetEvent(bool initialState) : CUEventWaitHandle(false, initialState) {}
};

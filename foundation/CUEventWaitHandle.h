// CUEventWaitHandle: an event, signalled or not, that threads wait for.
//
// A manual-reset event stays signalled until Reset and releases every waiter. An automatic event
// releases one waiter per Set and falls back as it does so; Set on an event that is signalled
// already changes nothing. A waiter blocked at the moment of a Set is released by it even if
// Reset follows at once. Wait has no time limit; CUWaitAny waits for the first of several events
// with an optional limit.
//
// Threads: every operation may be called from any thread; Set and Reset never block on a waiter.
// The event must outlive every wait on it. Failures: if the event's state could not be made, the
// handle is empty, and Wait, Set and Reset do nothing and answer true.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>

#include "foundation/CUWaitHandle.h"

namespace cu_detail {
struct EventState;
}  // namespace cu_detail

class CUEventWaitHandle : public CUWaitHandle {
public:
    CUEventWaitHandle(const CUEventWaitHandle&) = delete;
    CUEventWaitHandle& operator=(const CUEventWaitHandle&) = delete;
    ~CUEventWaitHandle() override;

    bool Wait() override;
    virtual bool Reset();
    virtual bool Set();

    bool IsManualReset() const noexcept { return isManualReset != 0; }

protected:
    CUEventWaitHandle(bool manualReset, bool initialState);

private:
    friend int CUWaitAny(std::span<CUEventWaitHandle* const> events,
                         std::chrono::milliseconds timeout);

    uint8_t isManualReset;
    std::unique_ptr<cu_detail::EventState> handle;
};

// No time limit for CUWaitAny.
inline constexpr std::chrono::milliseconds CUWaitInfinite = std::chrono::milliseconds::max();
// CUWaitAny's answers besides an index.
inline constexpr int CUWaitTimeout = -1;
inline constexpr int CUWaitFailed = -2;
// The most events one CUWaitAny takes.
inline constexpr std::size_t CUWaitAnyMaxEvents = 64;

// Waits until one of the events is signalled and answers its index. When several are, the one
// that comes first in the list wins, and only that one is consumed if it is automatic. Answers
// CUWaitTimeout when the limit passes first (a limit of 0 only looks), and CUWaitFailed for an
// empty list, more than CUWaitAnyMaxEvents events, a null pointer or an event with an empty
// handle.
int CUWaitAny(std::span<CUEventWaitHandle* const> events,
              std::chrono::milliseconds timeout = CUWaitInfinite);
int CUWaitAny(std::initializer_list<CUEventWaitHandle*> events,
              std::chrono::milliseconds timeout = CUWaitInfinite);

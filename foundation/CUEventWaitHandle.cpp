#include "foundation/CUEventWaitHandle.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <new>

namespace cu_detail {

// One CUWaitAny in progress. Once `done` is set nothing hands it a signal any more, so that a
// caller consumes at most one automatic event per call.
struct AnyWaiter {
    std::mutex mutex;
    std::condition_variable wake;
    bool done = false;          // guarded by mutex
    int index = CUWaitTimeout;  // guarded by mutex
};

// A CUWaitAny's entry in the list of one event; lives on that caller's stack.
struct Listener {
    AnyWaiter* waiter = nullptr;
    int index = 0;
    Listener* prev = nullptr;
    Listener* next = nullptr;
};

// Lock order: an event's mutex, then a waiter's. Everything below is guarded by `mutex`.
struct EventState {
    EventState(bool manual, bool initial) : manualReset(manual), signalled(initial) {}

    // Gives the signal to a CUWaitAny that has not ended; false if it has.
    static bool Offer(Listener& listener) {
        AnyWaiter& waiter = *listener.waiter;
        std::lock_guard lock(waiter.mutex);
        if (waiter.done) return false;
        waiter.done = true;
        waiter.index = listener.index;
        waiter.wake.notify_one();
        return true;
    }

    void Link(Listener& listener) {
        listener.prev = nullptr;
        listener.next = listeners;
        if (listeners) listeners->prev = &listener;
        listeners = &listener;
    }

    void Unlink(Listener& listener) {
        if (listener.prev)
            listener.prev->next = listener.next;
        else
            listeners = listener.next;
        if (listener.next) listener.next->prev = listener.prev;
    }

    std::mutex mutex;
    std::condition_variable changed;
    const bool manualReset;
    bool signalled;
    // Manual events: counts Sets, so that a waiter blocked at a Set leaves even if a Reset
    // comes before it runs again.
    uint64_t generation = 0;
    // Automatic events: Set hands its signal straight to a blocked waiter instead of raising
    // `signalled`, for the same reason.
    uint32_t blocked = 0;
    uint32_t grants = 0;
    Listener* listeners = nullptr;
};

}  // namespace cu_detail

using cu_detail::EventState;

CUEventWaitHandle::CUEventWaitHandle(bool manualReset, bool initialState)
    : isManualReset(manualReset ? 1 : 0),
      handle(new (std::nothrow) EventState(manualReset, initialState)) {}

CUEventWaitHandle::~CUEventWaitHandle() = default;

bool CUEventWaitHandle::Wait() {
    EventState* state = handle.get();
    if (!state) return true;
    std::unique_lock lock(state->mutex);
    if (state->manualReset) {
        const uint64_t seen = state->generation;
        state->changed.wait(lock, [&] { return state->signalled || state->generation != seen; });
        return true;
    }
    if (state->signalled) {
        state->signalled = false;
        return true;
    }
    ++state->blocked;
    state->changed.wait(lock, [&] { return state->grants > 0; });
    --state->grants;
    --state->blocked;
    return true;
}

bool CUEventWaitHandle::Reset() {
    EventState* state = handle.get();
    if (!state) return true;
    std::lock_guard lock(state->mutex);
    state->signalled = false;
    return true;
}

bool CUEventWaitHandle::Set() {
    EventState* state = handle.get();
    if (!state) return true;
    // Waiters are woken under the lock: a woken waiter may destroy the event at once.
    std::lock_guard lock(state->mutex);
    if (state->manualReset) {
        state->signalled = true;
        ++state->generation;
        state->changed.notify_all();
        for (auto* listener = state->listeners; listener; listener = listener->next) {
            EventState::Offer(*listener);
        }
        return true;
    }
    if (state->signalled) return true;
    if (state->blocked > state->grants) {
        ++state->grants;
        state->changed.notify_one();
        return true;
    }
    for (auto* listener = state->listeners; listener; listener = listener->next) {
        if (EventState::Offer(*listener)) return true;
    }
    state->signalled = true;
    return true;
}

int CUWaitAny(std::span<CUEventWaitHandle* const> events, std::chrono::milliseconds timeout) {
    if (events.empty() || events.size() > CUWaitAnyMaxEvents) return CUWaitFailed;
    for (const CUEventWaitHandle* event : events) {
        if (!event || !event->handle) return CUWaitFailed;
    }

    cu_detail::AnyWaiter waiter;
    std::array<cu_detail::Listener, CUWaitAnyMaxEvents> listeners;
    size_t registered = 0;
    // Each event is looked at and listened to in one step, so that a Set between two steps
    // reaches this call through the listener.
    for (size_t i = 0; i < events.size(); ++i) {
        EventState& state = *events[i]->handle;
        std::lock_guard eventLock(state.mutex);
        std::lock_guard waiterLock(waiter.mutex);
        if (waiter.done) break;
        if (state.signalled) {
            if (!state.manualReset) state.signalled = false;
            waiter.done = true;
            waiter.index = static_cast<int>(i);
            break;
        }
        listeners[i].waiter = &waiter;
        listeners[i].index = static_cast<int>(i);
        state.Link(listeners[i]);
        registered = i + 1;
    }

    {
        std::unique_lock lock(waiter.mutex);
        auto finished = [&] { return waiter.done; };
        // Past a century the deadline would overflow the clock; such a limit is no limit.
        constexpr auto kNoLimit = std::chrono::hours(24 * 365 * 100);
        if (timeout >= kNoLimit) {
            waiter.wake.wait(lock, finished);
        } else if (timeout > std::chrono::milliseconds::zero()) {
            waiter.wake.wait_until(lock, std::chrono::steady_clock::now() + timeout, finished);
        }
        // A Set after the limit must not hand a signal to a call that has given up.
        waiter.done = true;
    }

    for (size_t i = 0; i < registered; ++i) {
        EventState& state = *events[i]->handle;
        std::lock_guard eventLock(state.mutex);
        state.Unlink(listeners[i]);
    }
    return waiter.index;
}

int CUWaitAny(std::initializer_list<CUEventWaitHandle*> events, std::chrono::milliseconds timeout) {
    return CUWaitAny(std::span<CUEventWaitHandle* const>(events.begin(), events.size()), timeout);
}

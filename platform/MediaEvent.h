// IMediaEventSink and CMediaEventQueue: how filters tell the graph's owner what happened.
//
// A filter calls Notify(code, param1, param2) on the sink the graph gave it; the queue keeps the
// events in the order they arrived and hands them to the host one at a time with GetEvent. The
// host may also wait on EventHandle(), a manual-reset event that is set exactly while the queue
// holds an event. Parameters are plain numbers here: no event code of this runtime carries a
// pointer, so nothing needs freeing.
// Threads: Notify and GetEvent may be called from any thread; Notify never waits for a reader.
// Failures: GetEvent answers E_POINTER for a null out pointer and E_ABORT when the time limit
// passes with the queue empty (a limit of 0 only looks; a negative one waits without limit).
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>

#include "foundation/CUManualResetEvent.h"
#include "platform/InterfaceIds.h"
#include "platform/Unknown.h"

using LONG_PTR = intptr_t;

// Event codes, with the values of the platform the filters were written for.
inline constexpr long EC_COMPLETE = 0x01;        // a renderer reached the end of its stream
inline constexpr long EC_USERABORT = 0x02;       // the user ended playback
inline constexpr long EC_ERRORABORT = 0x03;      // param1: the HRESULT of the failure
inline constexpr long EC_QUALITY_CHANGE = 0x0B;  // a filter began dropping samples

// Our own value, in the 0x71760Fxx block of the runtime's ids kept apart from InterfaceIds.h.
// {71760F02-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IMediaEventSink = qv_iid_detail::Make(0x71760F02);

class IMediaEventSink : public IUnknown {
public:
    virtual HRESULT Notify(long eventCode, LONG_PTR param1, LONG_PTR param2) = 0;
};

class CMediaEventQueue : public CUnknown, public IMediaEventSink {
public:
    explicit CMediaEventQueue(IUnknown* outer = nullptr);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // Appends the event. S_OK, or E_OUTOFMEMORY when it could not be stored.
    HRESULT Notify(long eventCode, LONG_PTR param1, LONG_PTR param2) override;

    // Takes the oldest event, waiting up to `timeoutMs` for one.
    HRESULT GetEvent(long* eventCode, LONG_PTR* param1, LONG_PTR* param2, long timeoutMs);

    // Set while the queue holds an event. Lives as long as the queue; do not Set or Reset it.
    CUEventWaitHandle* EventHandle() { return &ready; }

    // Drops every queued event.
    void Clear();

private:
    struct Event {
        long code;
        LONG_PTR param1;
        LONG_PTR param2;
    };

    std::mutex lock;
    std::condition_variable arrived;  // guarded by `lock`
    std::deque<Event> events;         // guarded by `lock`
    CUManualResetEvent ready;         // set and reset under `lock`, together with `events`
};

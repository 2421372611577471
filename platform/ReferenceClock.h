// IReferenceClock and CSystemClock: the graph's clock, over the monotonic clock of the system.
//
// GetTime answers the monotonic time in REFERENCE_TIME units; it never goes back. AdviseTime sets
// an event once the clock reaches baseTime + streamTime (at once if that has passed); the advise
// is then gone and its cookie is dead. AdvisePeriodic sets an event at startTime and every period
// after it until Unadvise; a period that passes while the event is still set adds nothing (the
// event is an event, not a counting semaphore). One advise thread per clock sleeps on a condition
// variable until the earliest due time; advises due at the same time fire in the order they were
// made.
// Threads: every method may be called from any thread. The advise thread sets events under the
// clock's lock, so once Unadvise returns the clock no longer touches that event. An event must
// stay alive until its advise has fired (one-shot) or has been removed by Unadvise or the clock is
// destroyed. Ownership: the clock does not own the events.
// Failures: E_POINTER for a null event or cookie pointer, E_INVALIDARG for a due time of 0 or less
// or a period of 0 or less; Unadvise answers S_FALSE for a cookie it does not know (fired or never
// given). AdviseTime and AdvisePeriodic answer E_OUTOFMEMORY if the advise thread could not start.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "foundation/CUEventWaitHandle.h"
#include "platform/InterfaceIds.h"
#include "platform/ReferenceTime.h"
#include "platform/Unknown.h"

// Our own value, in the 0x71760Fxx block of the runtime's ids kept apart from InterfaceIds.h.
// {71760F01-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IReferenceClock = qv_iid_detail::Make(0x71760F01);

class IReferenceClock : public IUnknown {
public:
    virtual HRESULT GetTime(REFERENCE_TIME* time) = 0;
    virtual HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime,
                               CUEventWaitHandle* event, uintptr_t* cookie) = 0;
    virtual HRESULT AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME period,
                                   CUEventWaitHandle* event, uintptr_t* cookie) = 0;
    virtual HRESULT Unadvise(uintptr_t cookie) = 0;
};

class CSystemClock : public CUnknown, public IReferenceClock {
public:
    explicit CSystemClock(IUnknown* outer = nullptr);
    ~CSystemClock() override;  // stops the advise thread; pending advises never fire

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT GetTime(REFERENCE_TIME* time) override;
    HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, CUEventWaitHandle* event,
                       uintptr_t* cookie) override;
    HRESULT AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME period,
                           CUEventWaitHandle* event, uintptr_t* cookie) override;
    HRESULT Unadvise(uintptr_t cookie) override;

    // The monotonic time of the system in REFERENCE_TIME units, as GetTime answers it.
    static REFERENCE_TIME Now();

private:
    struct Advise {
        CUEventWaitHandle* event;
        REFERENCE_TIME period;  // 0 for a one-shot advise
        uintptr_t cookie;
    };

    HRESULT Add(REFERENCE_TIME due, REFERENCE_TIME period, CUEventWaitHandle* event,
                uintptr_t* cookie);
    void Run();

    std::mutex lock;
    std::condition_variable wake;                     // guarded by `lock`
    std::multimap<REFERENCE_TIME, Advise> pending;    // by due time; guarded by `lock`
    std::map<uintptr_t, REFERENCE_TIME> dueByCookie;  // guarded by `lock`
    uintptr_t nextCookie = 1;                         // guarded by `lock`
    bool stopping = false;                            // guarded by `lock`
    std::thread thread;  // started by the constructor (not joinable if that failed), joined by
                         // the destructor
};

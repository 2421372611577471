#include "platform/ReferenceClock.h"

#include <chrono>
#include <limits>
#include <system_error>

namespace {

using Ticks = std::chrono::duration<int64_t, std::ratio<1, 10'000'000>>;

// Due times beyond this cannot be expressed as a steady_clock time point in nanoseconds.
constexpr REFERENCE_TIME kLatestTimedWait = std::numeric_limits<int64_t>::max() / 100 - 10'000'000;

}  // namespace

CSystemClock::CSystemClock(IUnknown* outer) : CUnknown("CSystemClock", outer) {
    try {
        thread = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        // No advise thread: Add refuses advises.
    }
}

CSystemClock::~CSystemClock() {
    {
        std::lock_guard guard(lock);
        stopping = true;
    }
    wake.notify_all();
    if (thread.joinable()) thread.join();
}

HRESULT CSystemClock::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IReferenceClock) return GetInterface<IReferenceClock>(this, ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

REFERENCE_TIME CSystemClock::Now() {
    return std::chrono::duration_cast<Ticks>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

HRESULT CSystemClock::GetTime(REFERENCE_TIME* time) {
    if (!time) return E_POINTER;
    *time = Now();
    return S_OK;
}

HRESULT CSystemClock::AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime,
                                 CUEventWaitHandle* event, uintptr_t* cookie) {
    if (!event || !cookie) return E_POINTER;
    if (baseTime < 0 || streamTime < 0 ||
        baseTime > std::numeric_limits<REFERENCE_TIME>::max() - streamTime ||
        baseTime + streamTime <= 0)
        return E_INVALIDARG;
    return Add(baseTime + streamTime, 0, event, cookie);
}

HRESULT CSystemClock::AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME period,
                                     CUEventWaitHandle* event, uintptr_t* cookie) {
    if (!event || !cookie) return E_POINTER;
    if (startTime <= 0 || period <= 0) return E_INVALIDARG;
    return Add(startTime, period, event, cookie);
}

HRESULT CSystemClock::Add(REFERENCE_TIME due, REFERENCE_TIME period, CUEventWaitHandle* event,
                          uintptr_t* cookie) {
    if (!thread.joinable()) return E_OUTOFMEMORY;
    bool earliest = false;
    {
        std::lock_guard guard(lock);
        const uintptr_t id = nextCookie++;
        earliest = pending.empty() || due < pending.begin()->first;
        pending.emplace(due, Advise{event, period, id});  // after equal keys: order kept
        dueByCookie.emplace(id, due);
        *cookie = id;
    }
    if (earliest) wake.notify_one();
    return S_OK;
}

HRESULT CSystemClock::Unadvise(uintptr_t cookie) {
    std::lock_guard guard(lock);
    auto found = dueByCookie.find(cookie);
    if (found == dueByCookie.end()) return S_FALSE;
    auto [first, last] = pending.equal_range(found->second);
    for (auto it = first; it != last; ++it) {
        if (it->second.cookie == cookie) {
            pending.erase(it);
            break;
        }
    }
    dueByCookie.erase(found);
    return S_OK;
}

void CSystemClock::Run() {
    std::unique_lock guard(lock);
    while (!stopping) {
        if (pending.empty()) {
            wake.wait(guard);
            continue;
        }
        const REFERENCE_TIME due = pending.begin()->first;
        const REFERENCE_TIME now = Now();
        if (due > now) {
            if (due > kLatestTimedWait) {
                wake.wait(guard);
            } else {
                wake.wait_until(guard,
                                std::chrono::steady_clock::time_point(
                                    std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                        Ticks(due))));
            }
            continue;
        }
        auto node = pending.extract(pending.begin());
        Advise& advise = node.mapped();
        advise.event->Set();  // never blocks on a waiter
        if (advise.period == 0 || advise.period > kLatestTimedWait - due) {  // done, or never again
            dueByCookie.erase(advise.cookie);
            continue;
        }
        // Periods that have passed meanwhile collapse into this one Set.
        REFERENCE_TIME next = due + advise.period;
        if (next <= now) next += ((now - next) / advise.period + 1) * advise.period;
        node.key() = next;
        dueByCookie[advise.cookie] = next;
        pending.insert(std::move(node));
    }
}

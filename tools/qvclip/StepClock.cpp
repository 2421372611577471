#include "tools/qvclip/StepClock.h"

#include <limits>

namespace qvclip {

StepClock::StepClock() : CUnknown("qvclip step clock", nullptr) {}

HRESULT StepClock::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IReferenceClock) return GetInterface(static_cast<IReferenceClock*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

REFERENCE_TIME StepClock::NowLocked() const {
    if (released) return std::numeric_limits<REFERENCE_TIME>::max();
    return anchored ? anchor + position : 0;
}

void StepClock::FireDueLocked() {
    const REFERENCE_TIME now = NowLocked();
    for (auto it = advises.begin(); it != advises.end();) {
        if (it->second.due <= now) {
            it->second.event->Set();
            it = advises.erase(it);
        } else {
            ++it;
        }
    }
}

HRESULT StepClock::GetTime(REFERENCE_TIME* time) {
    if (!time) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    *time = NowLocked();
    return S_OK;
}

HRESULT StepClock::AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime,
                              CUEventWaitHandle* event, uintptr_t* cookie) {
    if (!event || !cookie) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    if (!anchored) anchored = true, anchor = baseTime;
    *cookie = nextCookie++;
    advises.emplace(*cookie, Advise{baseTime + streamTime, event});
    FireDueLocked();
    return S_OK;
}

HRESULT StepClock::Unadvise(uintptr_t cookie) {
    std::lock_guard<std::mutex> guard(lock);
    return advises.erase(cookie) ? S_OK : S_FALSE;
}

void StepClock::Advance(REFERENCE_TIME to) {
    std::lock_guard<std::mutex> guard(lock);
    if (to > position) position = to;
    FireDueLocked();
}

void StepClock::Open() {
    std::lock_guard<std::mutex> guard(lock);
    released = true;
    FireDueLocked();
}

}  // namespace qvclip

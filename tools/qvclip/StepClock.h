// StepClock: a reference clock whose time moves only when the host says so, for renderers that
// must keep in step with something other than the wall clock. `play` without --realtime gives it
// to the timecode renderer and moves it one frame each time the host has taken a frame's metadata
// message, so that the renderer's analysis of a frame (GetAnalyzedData) is still that frame's when
// the host asks for it. Open lets every sample through, for the end of the stream.
//
// Time: before the first AdviseTime the clock answers 0, which is never late; the first
// AdviseTime's base time (the renderer's start time) becomes the anchor, and from then on the
// time is anchor + the position given by Advance. An advise fires once that time reaches
// baseTime + streamTime.
// Threads: every method may be called from any thread; events are set under the clock's lock, so
// once Unadvise returns the clock no longer touches that event. Ownership: the clock does not own
// the events; the host owns the clock (reference counted like any COM object).
// Failures: E_POINTER for null arguments; E_NOTIMPL for AdvisePeriodic, which no renderer asks.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "platform/ReferenceClock.h"

namespace qvclip {

class StepClock : public CUnknown, public IReferenceClock {
public:
    StepClock();

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT GetTime(REFERENCE_TIME* time) override;
    HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, CUEventWaitHandle* event,
                       uintptr_t* cookie) override;
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, CUEventWaitHandle*,
                           uintptr_t*) override {
        return E_NOTIMPL;
    }
    HRESULT Unadvise(uintptr_t cookie) override;

    // Moves the stream position forward to `position` (never back) and fires what became due.
    void Advance(REFERENCE_TIME position);
    // Every advise, made or to come, fires at once.
    void Open();

private:
    struct Advise {
        REFERENCE_TIME due;
        CUEventWaitHandle* event;
    };
    REFERENCE_TIME NowLocked() const;
    void FireDueLocked();

    std::mutex lock;
    bool anchored = false;          // guarded by `lock`
    REFERENCE_TIME anchor = 0;      // guarded by `lock`
    REFERENCE_TIME position = 0;    // guarded by `lock`
    bool released = false;          // guarded by `lock`
    uintptr_t nextCookie = 1;       // guarded by `lock`
    std::map<uintptr_t, Advise> advises;  // guarded by `lock`
};

}  // namespace qvclip

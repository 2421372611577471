// IBaseFilter and CBaseFilter: a filter of the graph, its state and its pins.
//
// The state goes stopped -> paused -> running and back. Pause from stopped activates every
// connected pin (CBasePin::Active: an output commits its allocator, a source pin starts its
// worker); Run from stopped pauses first, then records the start time and calls Run on every
// connected pin; Stop deactivates every connected pin, whatever the state (a source pin stops and
// joins its worker, so no sample leaves the filter once Stop has returned). Stream time is the
// clock's time minus the start time given to Run. The filter does not own its graph:
// JoinFilterGraph gives it the graph's event sink, which it keeps without a reference (the graph
// outlives its filters). Threads: Stop, Pause, Run, SetSyncSource and JoinFilterGraph take the
// filter lock (given by the subclass, shared with its pins); the state is atomic so that streaming
// threads read it without that lock. Failures: E_POINTER for null out pointers; E_FAIL from FindPin
// for an unknown name and from StreamTime without a clock; the first failure of a pin's
// Active/Inactive/Run is returned after every pin has been called.
#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/CURecursiveLock.h"
#include "platform/InterfaceIds.h"
#include "platform/MediaEvent.h"
#include "platform/ReferenceClock.h"
#include "platform/Unknown.h"

class IPin;
class CBasePin;

enum FILTER_STATE { State_Stopped = 0, State_Paused = 1, State_Running = 2 };

class IBaseFilter : public IUnknown {
public:
    virtual HRESULT Stop() = 0;
    virtual HRESULT Pause() = 0;
    virtual HRESULT Run(REFERENCE_TIME tStart) = 0;
    virtual HRESULT GetState(uint32_t msTimeout, FILTER_STATE* pState) = 0;
    // The filter takes a reference on the clock; null: no clock.
    virtual HRESULT SetSyncSource(IReferenceClock* pClock) = 0;
    // A new reference, or null.
    virtual HRESULT GetSyncSource(IReferenceClock** ppClock) = 0;
    // A new reference on the pin of that name, E_FAIL (and null) when none.
    virtual HRESULT FindPin(const wchar_t* id, IPin** ppPin) = 0;
    // `pSink` is not referenced; null leaves the graph.
    virtual HRESULT JoinFilterGraph(IMediaEventSink* pSink) = 0;
};

class CBaseFilter : public CUnknown, public IBaseFilter {
public:
    // `lock`: the filter lock, owned by the subclass, which outlives this object.
    CBaseFilter(const char* name, IUnknown* outer, CURecursiveLock* lock, REFCLSID clsid);
    ~CBaseFilter() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT Stop() override;
    HRESULT Pause() override;
    HRESULT Run(REFERENCE_TIME tStart) override;
    HRESULT GetState(uint32_t msTimeout, FILTER_STATE* pState) override;
    HRESULT SetSyncSource(IReferenceClock* pClock) override;
    HRESULT GetSyncSource(IReferenceClock** ppClock) override;
    HRESULT FindPin(const wchar_t* id, IPin** ppPin) override;
    HRESULT JoinFilterGraph(IMediaEventSink* pSink) override;

    // The pins, in their fixed order; GetPin answers null outside 0..GetPinCount()-1.
    virtual int GetPinCount() = 0;
    virtual CBasePin* GetPin(int n) = 0;

    // Clock time minus the start time of Run.
    HRESULT StreamTime(REFERENCE_TIME* pTime);
    // To the graph's event sink; E_NOTIMPL when the filter is in no graph.
    HRESULT NotifyEvent(long eventCode, LONG_PTR param1, LONG_PTR param2);

    bool IsStopped() const { return m_State.load() == State_Stopped; }
    bool IsActive() const { return m_State.load() != State_Stopped; }
    CURecursiveLock* pStateLock() const { return m_pLock; }
    const CLSID& ClassId() const { return m_clsid; }

protected:
    CURecursiveLock* const m_pLock;
    const CLSID m_clsid;
    std::atomic<FILTER_STATE> m_State{State_Stopped};  // written under m_pLock
    REFERENCE_TIME m_tStart = 0;                       // guarded by m_pLock
    IReferenceClock* m_pClock = nullptr;               // guarded by m_pLock; referenced
    std::atomic<IMediaEventSink*> m_pSink{nullptr};    // written under m_pLock; not referenced
};

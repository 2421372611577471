// CBaseRenderer and CRendererInputPin: a filter at the end of a stream that hands each sample to
// DoRenderSample at the sample's time on the graph's reference clock.
//
// This is our runtime, not a clone: only what the filters rely on is here.
// - Receive, in Run, waits until the clock reaches the filter's start time plus the sample's start
//   time (AdviseTime on the filter's clock, waiting on that event together with the abort and
//   state-change events) and then renders. A sample already late renders at once and a quality
//   message (Flood, Late = lateness in 100 ns units, Proportion = the rate that would keep up, in
//   thousandths, TimeStamp = the sample's start) goes upstream through the input pin's
//   PassNotify. A sample rendered on time after its wait sends one too (Famine, Late = minus
//   the time it waited), so that a source skipping frames to catch up learns that it has.
//   Samples without times, and all samples when the filter has no clock, render at once.
//   PrepareReceive sees every sample first; preroll samples are then accepted and never rendered.
// - In Pause the arriving sample is held (Receive blocks), OnReceiveFirstSample is called with it
//   once, and it renders when Run comes; the streaming thread is blocked meanwhile, so the rest
//   wait too. Going from Run back to Pause sends a sample waiting on the clock back to being held;
//   a new Run schedules it against the new start time.
// - EndOfStream: as Receive is synchronous, every earlier sample has been rendered or discarded
//   by then. EC_COMPLETE goes to the graph's event sink at once when running, at the next Run when
//   paused, never when stopped or flushing; once per stream (Pause from stopped and EndFlush start
//   a new stream). Samples after the end of the stream are refused.
// - BeginFlush releases a waiting or held Receive (which answers S_FALSE, the sample unrendered);
//   Stop releases it too (VFW_E_WRONG_STATE).
// Threads: Receive, EndOfStream and the hooks DoRenderSample, OnReceiveFirstSample, OnWaitStart,
// OnWaitEnd run on the upstream streaming thread, one call at a time. Stop, Pause, Run,
// BeginFlush and EndFlush run on the controlling thread; Stop/Pause/Run hold the filter lock,
// which Receive takes only briefly to read the clock and start time, never while waiting. The
// events are thread-safe objects; the end-of-stream flags are guarded by m_RendererLock.
// Ownership: the filter owns its input pin; samples stay owned by the caller of Receive (the
// renderer keeps no reference after Receive returns). The clock is referenced by CBaseFilter.
// Failures: Receive answers E_POINTER, VFW_E_NOT_CONNECTED, VFW_E_WRONG_STATE (stopped, or
// stopped while waiting), S_FALSE (flushing, or flushed while waiting), VFW_E_SAMPLE_REJECTED
// (after the end of the stream), or the failure of DoRenderSample. EndOfStream answers
// VFW_E_WRONG_STATE when stopped and S_FALSE (ignored) while flushing. The constructor leaves
// E_OUTOFMEMORY in *phr if the pin could not be made.
#pragma once

#include <atomic>
#include <mutex>

#include "foundation/CUAutoResetEvent.h"
#include "foundation/CUManualResetEvent.h"
#include "foundation/CURecursiveLock.h"
#include "platform/BaseFilter.h"
#include "platform/BaseInputPin.h"
#include "platform/RendererPosPassThru.h"

class CBaseRenderer;

class CRendererInputPin : public CBaseInputPin {
public:
    CRendererInputPin(CBaseRenderer* renderer, HRESULT* phr, const wchar_t* name);

    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

private:
    CBaseRenderer* const m_pRenderer;  // owns the pin
};

class CBaseRenderer : public CBaseFilter {
public:
    // `phr`: set to a failure if the pin could not be made; left alone otherwise.
    CBaseRenderer(REFCLSID clsid, const char* name, IUnknown* outer, HRESULT* phr);
    ~CBaseRenderer() override;

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    // IMediaSeeking through the position pass-through, made on the first request: the host seeks
    // through a renderer and reaches the pin upstream. IMediaPosition goes the same way and is
    // refused there (E_NOINTERFACE): no host of this module asks for it.
    virtual HRESULT GetMediaPositionInterface(REFIID riid, void** ppv);

    HRESULT Stop() override;
    HRESULT Pause() override;
    HRESULT Run(REFERENCE_TIME tStart) override;

    int GetPinCount() override { return m_pInputPin ? 1 : 0; }
    CBasePin* GetPin(int n) override { return n == 0 ? m_pInputPin : nullptr; }
    CRendererInputPin* InputPin() const { return m_pInputPin; }

    // What the input pin accepts: S_OK or a refusal.
    virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
    // Renders one sample, at its time.
    virtual HRESULT DoRenderSample(IMediaSample* pSample) = 0;
    // A new segment begins (after the pin stored it); on the upstream streaming thread.
    virtual HRESULT OnNewSegment(REFERENCE_TIME /*start*/, REFERENCE_TIME /*stop*/,
                                 double /*rate*/) {
        return S_OK;
    }
    // Sees each sample before anything else; a result other than S_OK is Receive's answer.
    virtual HRESULT PrepareReceive(IMediaSample*) { return S_OK; }
    // The sample that arrived while paused; it is rendered after Run unless flushed or stopped.
    virtual void OnReceiveFirstSample(IMediaSample*) {}
    // Around a wait on the clock for a sample due at `start` (stream time).
    virtual void OnWaitStart(REFERENCE_TIME /*start*/) {}
    virtual void OnWaitEnd() {}

    // Called by the input pin, after its own checks. A subclass that overrides EndOfStream calls
    // this one.
    HRESULT Receive(IMediaSample* pSample);
    virtual HRESULT EndOfStream();
    HRESULT BeginFlush();
    HRESULT EndFlush();

protected:
    // Sends EC_COMPLETE if the stream ended, it was not sent yet, and the filter runs.
    void SendEndOfStreamIfDue();
    // Passes a quality message upstream; a subclass that watches them calls this one.
    virtual void SendQuality(const Quality& q);
    // DoRenderSample, and the position learns the sample's time.
    HRESULT Render(IMediaSample* pSample);
    // Renders at once and tells upstream how late the sample was.
    HRESULT RenderLate(IMediaSample* pSample, REFERENCE_TIME start, REFERENCE_TIME stop,
                       REFERENCE_TIME late);
    // The answer of a Receive released by the abort event.
    HRESULT Aborted() const { return IsStopped() ? VFW_E_WRONG_STATE : S_FALSE; }

    CURecursiveLock m_InterfaceLock;  // the filter lock
    CRendererInputPin* m_pInputPin = nullptr;
    // Made once under the filter lock, then read by the streaming thread; owned.
    std::atomic<CRendererPosPassThru*> m_pPosition{nullptr};

    // Set while Receive must give up: stopped or flushing.
    CUManualResetEvent m_AbortEvent;
    // Set by Pause and Run under the filter lock; reset by Receive under that lock before it
    // reads the state, so that a change after that read wakes its wait.
    CUAutoResetEvent m_StateChanged{false};
    // Set by the clock when a sample is due; streaming thread only besides the clock.
    CUAutoResetEvent m_ClockEvent{false};

    std::mutex m_RendererLock;
    bool m_bEOS = false;           // guarded by m_RendererLock
    bool m_bEOSDelivered = false;  // guarded by m_RendererLock
};

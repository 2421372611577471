// CTransformFilter: a filter with one input and one output pin that turns each input sample into
// one output sample (a decoder, a colour converter, a resizer).
//
// The pins, "XForm In" (pin 0) and "XForm Out" (pin 1) unless the subclass names them, are made
// together by the first GetPin.
// The output connects only once the input is connected, and its types are those of
// GetMediaType, each checked with CheckTransform(input type, proposed type).
// Receive drops preroll samples; for any other it takes a buffer from the output's allocator,
// copies the input's properties onto it (InitializeOutputSample), calls Transform and delivers
// the result downstream. S_FALSE from Transform skips the sample: nothing is delivered, the next
// delivered sample is marked a discontinuity, and the graph hears EC_QUALITY_CHANGE once until a
// sample is delivered again. A failure of Transform goes to the graph as EC_ERRORABORT and back
// to the caller of Receive. The first sample delivered after Pause from stopped, and after a
// flush, is marked a discontinuity too.
// End of stream, flushes and new segments go downstream through the output pin, each through its
// hook here. Quality messages from downstream go to AlterQuality; when it declines (S_FALSE) they
// go on upstream through the input pin.
// Threads: Receive, EndOfStream and NewSegment run on the upstream streaming thread under the
// receive lock (m_csReceive); Transform and the streaming hooks must not take the filter lock.
// Stop, Pause, Run, BeginFlush, connection changes take the filter lock (m_csFilter), in that
// order before the receive lock. Stop marks the filter stopped (new samples are refused) and
// decommits the output's pool (a Receive waiting for a buffer comes back) before it takes the
// receive lock, so it returns once the Receive in progress has ended; a Receive blocked inside a
// downstream filter is released by stopping that filter first, which the graph does. EndFlush
// takes the receive lock too, so no sample from before the flush leaves after it.
// Ownership: the filter owns its pins and deletes them; the pins count their references on it.
// Samples stay owned by the caller of Receive; the output sample is released after delivery.
// Failures: E_UNEXPECTED from output connection before the input is connected;
// VFW_E_NOT_CONNECTED from flush and end of stream calls with the output unconnected; Receive
// answers the input pin's refusals (VFW_E_WRONG_STATE stopped, S_FALSE flushing), the failure of
// GetDeliveryBuffer or Transform, or the downstream result. GetPin answers null when the pins
// could not be made.
#pragma once

#include "foundation/CURecursiveLock.h"
#include "platform/BaseFilter.h"
#include "platform/MediaSample.h"
#include "platform/MemAllocator.h"
#include "platform/Pin.h"
#include "platform/QualityControl.h"

class CMediaType;
class CTransformInputPin;
class CTransformOutputPin;

class CTransformFilter : public CBaseFilter {
public:
    CTransformFilter(const char* name, IUnknown* outer, REFCLSID clsid,
                     const wchar_t* inputPinName = L"XForm In",
                     const wchar_t* outputPinName = L"XForm Out");
    ~CTransformFilter() override;

    int GetPinCount() override { return 2; }
    // Makes both pins on first use; null for n outside 0..1 or when they could not be made.
    CBasePin* GetPin(int n) override;

    HRESULT Stop() override;
    HRESULT Pause() override;

    // Writes the transformed data of `pIn` into `pOut`: S_OK delivers it, S_FALSE skips it.
    virtual HRESULT Transform(IMediaSample* pIn, IMediaSample* pOut) = 0;
    // S_OK when the input pin may take this type.
    virtual HRESULT CheckInputType(const CMediaType* mtIn) = 0;
    // S_OK when the filter can turn `mtIn` into `mtOut`.
    virtual HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) = 0;
    // Sizes the output pool; `pProp` holds the downstream pin's wishes.
    virtual HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp) = 0;
    // The output's offered types, given the connected input's type: S_OK, VFW_S_NO_MORE_ITEMS
    // past the last, E_INVALIDARG for a negative position.
    virtual HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) = 0;

    // Connection hooks, called by the pins with their direction.
    virtual HRESULT SetMediaType(PIN_DIRECTION, const CMediaType*) { return S_OK; }
    virtual HRESULT CheckConnect(PIN_DIRECTION, IPin*) { return S_OK; }
    virtual HRESULT BreakConnect(PIN_DIRECTION) { return S_OK; }
    virtual HRESULT CompleteConnect(PIN_DIRECTION, IPin*) { return S_OK; }

    // Around streaming: StartStreaming on Pause from stopped (a failure fails the Pause),
    // StopStreaming on Stop, under both locks.
    virtual HRESULT StartStreaming() { return S_OK; }
    virtual HRESULT StopStreaming() { return S_OK; }

    // A quality message from downstream: S_OK handled here, S_FALSE passes it upstream.
    virtual HRESULT AlterQuality(const Quality&) { return S_FALSE; }

    // Called by the input pin after its own checks; the defaults pass them downstream.
    virtual HRESULT Receive(IMediaSample* pSample);
    virtual HRESULT EndOfStream();
    virtual HRESULT BeginFlush();
    virtual HRESULT EndFlush();
    virtual HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);

    CTransformInputPin* InputPin() const { return m_pInput; }
    CTransformOutputPin* OutputPin() const { return m_pOutput; }

protected:
    // A buffer from the output's allocator carrying the properties of `pSample` (times, sync
    // point, preroll, discontinuity, media time, type specific flags); streaming thread only.
    HRESULT InitializeOutputSample(IMediaSample* pSample, IMediaSample** ppOutSample);
    // Sizes the output pool at `buffers` buffers as large as the input pool's, for a filter whose
    // output sample holds a whole input sample: E_POINTER for null arguments, E_UNEXPECTED while
    // the input is not connected, else the allocators' answer.
    HRESULT SetPoolOfInputSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp,
                               int32_t buffers);

    CURecursiveLock m_csFilter;   // the filter lock, shared with the pins
    CURecursiveLock m_csReceive;  // serialises Receive with Stop and EndFlush

    const wchar_t* const m_inputPinName;       // static text
    const wchar_t* const m_outputPinName;      // static text
    CTransformInputPin* m_pInput = nullptr;    // owned; set once under m_csFilter
    CTransformOutputPin* m_pOutput = nullptr;  // owned; set once under m_csFilter

    // The streaming state; guarded by m_csReceive.
    bool m_bSampleSkipped = false;   // a sample was skipped since the last delivery
    bool m_bQualityChanged = false;  // EC_QUALITY_CHANGE was sent since the last delivery
    bool m_bDiscontinuity = false;   // the next delivered sample starts a new run

    friend class CTransformInputPin;
    friend class CTransformOutputPin;
};

// CRendererPosPassThru: the seeking interface of a renderer, which passes every call upstream to
// the output pin that feeds the renderer's input pin.
//
// Each call looks the upstream pin up afresh (ConnectedTo on the input pin, then its
// IMediaSeeking), so it follows reconnections. The object also keeps the start time of the last
// sample rendered (RegisterMediaTime, in the stream time of the samples), and answers it from
// GetCurrentPosition when upstream does not (E_NOTIMPL); after EOS it answers the stop time of
// that sample. ResetMediaTime forgets it (on Stop and flush). Only IMediaSeeking is answered:
// hosts of this module ask for nothing else.
// Threads: any thread. `lock` guards the kept times only; upstream is called without it.
// Ownership: the input pin is not referenced (the renderer owns both it and this object and
// outlives them); the upstream pin and its interface are referenced during a call only.
// Failures: VFW_E_NOT_CONNECTED when the input pin has no peer; E_NOTIMPL when the peer does not
// answer IMediaSeeking; upstream's result otherwise; E_POINTER for null out pointers from
// GetCurrentPosition and E_INVALIDARG for a null pin from the constructor (in *phr).
#pragma once

#include <mutex>

#include "platform/MediaSample.h"
#include "platform/MediaSeeking.h"
#include "platform/Pin.h"
#include "platform/Unknown.h"

class CRendererPosPassThru : public CUnknown, public IMediaSeeking {
public:
    CRendererPosPassThru(const char* name, IUnknown* outer, HRESULT* phr, IPin* pPin);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT GetCapabilities(uint32_t* pCapabilities) override;
    HRESULT CheckCapabilities(uint32_t* pCapabilities) override;
    HRESULT IsFormatSupported(const GUID* pFormat) override;
    HRESULT QueryPreferredFormat(GUID* pFormat) override;
    HRESULT GetTimeFormat(GUID* pFormat) override;
    HRESULT IsUsingTimeFormat(const GUID* pFormat) override;
    HRESULT SetTimeFormat(const GUID* pFormat) override;
    HRESULT GetDuration(int64_t* pDuration) override;
    HRESULT GetStopPosition(int64_t* pStop) override;
    HRESULT GetCurrentPosition(int64_t* pCurrent) override;
    HRESULT ConvertTimeFormat(int64_t* pTarget, const GUID* pTargetFormat, int64_t source,
                              const GUID* pSourceFormat) override;
    HRESULT SetPositions(int64_t* pCurrent, uint32_t currentFlags, int64_t* pStop,
                         uint32_t stopFlags) override;
    HRESULT GetPositions(int64_t* pCurrent, int64_t* pStop) override;
    HRESULT GetAvailable(int64_t* pEarliest, int64_t* pLatest) override;
    HRESULT SetRate(double rate) override;
    HRESULT GetRate(double* pRate) override;
    HRESULT GetPreroll(int64_t* pPreroll) override;

    // From the renderer's streaming thread, for each sample rendered; one without a time
    // changes nothing.
    HRESULT RegisterMediaTime(IMediaSample* pSample);
    HRESULT ResetMediaTime();
    // The stream ended: the current position is the stop time of the last sample.
    HRESULT EOS();

private:
    // A new reference on upstream's IMediaSeeking.
    HRESULT GetPeerSeeking(IMediaSeeking** ppSeeking);
    // `call` on upstream's IMediaSeeking, or the reason there is none.
    template <class Call>
    HRESULT Forward(Call call) {
        IMediaSeeking* seeking = nullptr;
        const HRESULT found = GetPeerSeeking(&seeking);
        if (FAILED(found)) return found;
        const HRESULT result = call(seeking);
        seeking->Release();
        return result;
    }

    IPin* const m_pPin;  // not referenced

    std::mutex lock;
    bool timeValid = false;    // guarded by `lock`
    bool ended = false;        // guarded by `lock`
    REFERENCE_TIME start = 0;  // guarded by `lock`
    REFERENCE_TIME stop = 0;   // guarded by `lock`
};

// The timecode renderers: they take the samples of a parser's timecode pin, schedule them against
// the graph clock like pictures, and tell the host's windows at the moment each frame is due.
//
// CTimecodeRendererBase holds what both renderers share: the input pin "Input", the media type
// check, the two host interfaces, the window targets and the lock. CTimecodeRenderer renders the
// MXF timecode stream (u64 S, S system item bytes, u64 A, A ancillary bytes): it analyses the
// system item and, when that gives a timecode, posts
//   - m_uTimecodeMessage to m_hTimecodeWindow: wParam the drop-frame flag, lParam a u32 with
//     hours in byte 0, minutes in byte 1, seconds in byte 2 and frames in byte 3;
//   - then m_uMetaDataMessage to m_hMetaDataWindow with the frame's ancillary bytes, as
//     MetaDataMessage describes (a frame without ancillary bytes gives size 0 and a null block,
//     so the host sees one metadata message after every timecode message).
// A sample whose system item the analyser rejects, or whose sizes do not fit its length, gives no
// message and leaves the last timecode and analysis as they were.
//
// Preroll samples are refused (VFW_E_SAMPLE_REJECTED): preroll frames never reach the host. A
// sample that arrives while paused is rendered at once (the host sees the frame it stopped on) and
// is not posted again when it renders at Run, so that the host gets one message pair per frame.
//
// Threads: rendering runs on the upstream streaming thread under m_csRender; GetTimecode and
// GetAnalyzedData run on host threads under the same lock. The window setters are meant for
// before the graph runs; they take the lock too, so a change while playing is never seen torn.
// Posting never waits for the receiver, so it happens under the lock.
// Ownership: the filter owns its input pin; m_pAnalyzedData is shared with the host that asked.
// Failures: SetMetaDataWindow answers E_POINTER for a null window; CheckMediaType E_POINTER for a
// null type and E_INVALIDARG for another type; DoRenderSample E_POINTER for a null sample and S_OK
// otherwise, whatever the sample held.
#pragma once

#include "clipmodel/CMBXAnalyzeSystemItemData.h"
#include "clipmodel/TimecodeInfo.h"
#include "foundation/CURecursiveLock.h"
#include "platform/BaseRenderer.h"
#include "platform/WindowMessages.h"

class IMSFTimecodeRenderer : public IUnknown {
public:
    virtual void SetTimecodeWindow(HWND hwnd, UINT message) = 0;
    // The timecode of the last frame rendered; all zero before the first.
    virtual void GetTimecode(TimecodeInfoEX& timecode) = 0;
};

class IMSFRealtimeMetaDataRenderer : public IUnknown {
public:
    virtual HRESULT SetMetaDataWindow(HWND hwnd, UINT message) = 0;
    // The analysis of the last frame rendered; empty before the first, and always from the MP4
    // renderer.
    virtual CUSharedPtr<CMBXAnalyzeSystemItemData> GetAnalyzedData() = 0;
};

class CTimecodeRendererBase : public CBaseRenderer,
                              public IMSFTimecodeRenderer,
                              public IMSFRealtimeMetaDataRenderer {
public:
    // `major`: the stream type taken (with the private stream subtype).
    CTimecodeRendererBase(REFCLSID clsid, const char* name, IUnknown* outer, HRESULT* phr,
                          const GUID& major);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    void SetTimecodeWindow(HWND hwnd, UINT message) override;
    void GetTimecode(TimecodeInfoEX& timecode) override;
    HRESULT SetMetaDataWindow(HWND hwnd, UINT message) override;

    void OnReceiveFirstSample(IMediaSample* pSample) override;
    HRESULT PrepareReceive(IMediaSample* pSample) override;
    HRESULT DoRenderSample(IMediaSample* pSample) final;
    HRESULT CheckMediaType(const CMediaType* pmt) override;

protected:
    // Replaces the base's input pin with the renderer's own (made by the subclass's constructor);
    // E_OUTOFMEMORY in *phr for a null pin.
    void AdoptInputPin(CRendererInputPin* pin, HRESULT* phr);
    // Posts the messages of one sample; called with m_csRender held and a non-null sample.
    virtual void RenderTimecode(IMediaSample* pSample) = 0;
    void PostTimecode(WPARAM wParam, LPARAM lParam);
    void PostMetaData(const uint8_t* bytes, uint32_t size);

    HWND m_hTimecodeWindow = nullptr;  // guarded by m_csRender
    UINT m_uTimecodeMessage = 0;       // guarded by m_csRender
    TimecodeInfoEX m_CurrentTimecode;  // guarded by m_csRender
    CURecursiveLock m_csRender;
    HWND m_hMetaDataWindow = nullptr;  // guarded by m_csRender
    UINT m_uMetaDataMessage = 0;       // guarded by m_csRender

private:
    const GUID m_Major;
    // The sample rendered by OnReceiveFirstSample in this Receive; streaming thread only.
    IMediaSample* m_pShownWhilePaused = nullptr;
};

class MXFTimecodeInputPin : public CRendererInputPin {
public:
    MXFTimecodeInputPin(CBaseRenderer* renderer, HRESULT* phr)
        : CRendererInputPin(renderer, phr, L"Input") {}
};

class CTimecodeRenderer : public CTimecodeRendererBase {
public:
    CTimecodeRenderer(IUnknown* outer, HRESULT* phr, REFCLSID clsid);

    CUSharedPtr<CMBXAnalyzeSystemItemData> GetAnalyzedData() override;

protected:
    void RenderTimecode(IMediaSample* pSample) override;

private:
    CUSharedPtr<CMBXAnalyzeSystemItemData> m_pAnalyzedData;  // guarded by m_csRender
};

// CAudioLevelRenderer: the end of the level path. For each level sample of the sound splitter
// (signed 16-bit levels, channel 0 first), at the sample's time, it posts the first four channel
// levels to a window of the host as one message, so the meters on screen move with the sound:
// PostMessageW(window, message, bytes 0..3, bytes 4..7) with both words widened without sign, so
// the first parameter holds channels 0 (low half) and 1, the second channels 2 and 3. It reads 8
// bytes whatever the sample's length says (the host knows the channel count and reads only that
// many levels); a buffer shorter than 8 bytes is read as far as it goes, the rest zero.
// Rows 4 (MXF) and 9 (MP4) of the class table accept the audio-level type of their flavour.
//
// One pin, "Input". The first sample in pause is shown at once (OnReceiveFirstSample), and not a
// second time when Run renders it: one message per sample. Before SetLevelWindow the window is
// null and posts go nowhere. Seeking (IMediaSeeking) passes upstream through the renderer base.
// Threads: rendering on the delivering thread (the splitter's level queue), serialised by
// m_csLevel; SetLevelWindow on the host's thread, meant for a stopped graph (its values are
// atomics, so a change while running is seen from the next sample). PostMessageW never waits.
// Ownership: as CBaseRenderer. Failures: CheckMediaType answers E_POINTER for a null type,
// E_INVALIDARG for another type; DoRenderSample E_POINTER for a null sample, S_OK otherwise (a
// sample without a buffer is passed over, a failed post ignored).
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "filters/FilterIds.h"
#include "platform/BaseRenderer.h"
#include "platform/WindowMessages.h"

class IMSFAudioLevelRenderer : public IUnknown {
public:
    // Where the levels go; call it before the graph runs.
    virtual void SetLevelWindow(HWND window, uint32_t message) = 0;
};

class CAudioLevelRenderer : public CBaseRenderer, public IMSFAudioLevelRenderer {
public:
    CAudioLevelRenderer(IUnknown* outer, HRESULT* phr, REFCLSID clsid, bool mp4Flavour);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    void SetLevelWindow(HWND window, uint32_t message) override;

    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT DoRenderSample(IMediaSample* pSample) override;
    HRESULT PrepareReceive(IMediaSample* pSample) override;
    void OnReceiveFirstSample(IMediaSample* pSample) override;

    static constexpr uint32_t kPostedBytes = 8;

private:
    std::atomic<HWND> m_hLevelWindow{nullptr};
    std::atomic<uint32_t> m_uLevelMessage{0};
    std::mutex m_csLevel;  // held while a sample is rendered
    const bool m_bMp4Flavour;
    bool m_bShownInPause = false;  // streaming thread: this Receive's sample was shown in pause
};

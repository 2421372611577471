// CParseFilter: what MXFParseFilter and MP4ParseFilter share. A parser is the source of a graph:
// the host hands it a path and its clip object (Load), the filter opens the clip through a
// StreamManager and pushes it out through three pins, video, audio and timecode, in that order.
// Each pin has a worker of its own.
//
// The pins share one lock (m_csShared): a worker holds it for the whole read of a frame, so the
// pins of one filter read one at a time, and it guards every pin's positions and the jump frame
// (frames below it are not to be delivered; 0: no jump). Exactly one pin per filter answers
// IMediaSeeking, the first one asked. A seek restarts the streams of every connected pin step by
// step: begin flush, stop, end flush, run, so that a worker blocked downstream comes back before
// it must answer the stop.
//
// Threads: Load and SetPictureScale come from the host before the graph runs. RestartStreams
// runs on the thread that seeks. Lock order: a pin's worker-command lock, then m_csShared, then
// the StreamManager's lock; m_csSeekingPin nests inside nothing.
// Ownership: the filter owns its pins and its StreamManager; destruction deletes the pins first.
// Failures: the constructor leaves E_FAIL in *phr when a pin or its read buffer cannot be made;
// Load answers E_FAIL when the clip does not open (the filter stays without a clip and may be
// given another) and for a second clip once one is open; GetCurFile always E_FAIL.
#pragma once

#include <cstdint>
#include <mutex>

#include "clipmodel/StreamManager.h"
#include "filters/ParserInterfaces.h"
#include "platform/Source.h"

class CParserOutputPin;

class CParseFilter : public CSource, public IFileSourceCustomFilter {
public:
    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT Load(const wchar_t* path, CUSharedPtr<CMBXClip> clip) override;
    HRESULT GetCurFile(wchar_t** ppszFileName, AM_MEDIA_TYPE* pmt) override;

    // For the pins.
    // Makes `pin` the seeking pin if there is none yet; true when `pin` is it.
    bool ClaimSeeking(CParserOutputPin* pin);
    // Read and written with m_csShared held.
    int64_t JumpFrame() const { return m_nJumpFrame; }
    void SetJumpFrame(int64_t frame) { m_nJumpFrame = frame; }
    // Called on the seeking pin's behalf after its position changed; 0 when nothing was running.
    HRESULT RestartStreams();

    StreamManager* GetStreamManager() const { return m_pStreamManager; }
    CParserOutputPin* VideoPin() const { return m_pVideoPin; }
    CParserOutputPin* AudioPin() const { return m_pAudioPin; }
    CParserOutputPin* TimecodePin() const { return m_pTimecodePin; }

protected:
    CParseFilter(const char* name, IUnknown* outer, REFCLSID clsid);
    ~CParseFilter() override;

    // Adopts the three pins, made by the subclass's constructor in the order video, audio,
    // timecode; a null pin or a failed `pinResult` leaves E_FAIL in *phr.
    void AdoptPins(CParserOutputPin* video, CParserOutputPin* audio, CParserOutputPin* timecode,
                   HRESULT pinResult, HRESULT* phr);
    // Runs before the clip opens (the MP4 filter starts its image library there).
    virtual void BeforeOpen() {}
    // Gives a pin the open clip; the MP4 filter adds its GOP length.
    virtual void GiveClip(CParserOutputPin* pin, StreamManager* manager);

    StreamManager* m_pStreamManager = nullptr;  // owned; null until Load made one
    CParserOutputPin* m_pVideoPin = nullptr;    // owned
    CParserOutputPin* m_pAudioPin = nullptr;    // owned
    CParserOutputPin* m_pTimecodePin = nullptr; // owned
    CParserOutputPin* m_pSeekingPin = nullptr;  // guarded by m_csSeekingPin
    std::mutex m_csSeekingPin;
    CURecursiveLock m_csShared;
    int64_t m_nJumpFrame = 0;  // guarded by m_csShared
};

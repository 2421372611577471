// CParserOutputPin: the push pin of a parser filter. Its worker turns frame numbers into samples:
// it reads one frame's elements through the StreamManager into the pin's read buffer, lets the
// concrete pin copy what it carries into a delivery sample (FillSampleData), stamps the sample
// and delivers it. MXFParserOutputPin and MP4ParserOutputPin are the two containers' bases; the
// video, audio and timecode pins derive from them.
//
// Positions are frame numbers. A run starts at m_nStart: the worker first sends the preroll frames
// from the key frame before it (no times, preroll mark), then frame m_nStart at time 0 of the new
// segment, and then every following frame to the end of the clip (the stop position only goes
// into the new segment). Frames below the filter's jump frame are passed over, and the sample
// times move with them, so a time always matches the frame's place in the clip.
// The pin answers IMediaSeeking only when it is the filter's seeking pin (the first pin asked).
//
// Threads: FillBuffer runs on the worker; SetPositions on any host thread; Notify on the thread of
// the filter downstream. All three take the filter's shared lock (m_pShared) for their state, and
// SetPositions releases it before it restarts the streams. The IMediaSeeking getters take it too.
// Ownership: the filter owns the pin; the pin owns its read buffer and holds the filter's
// StreamManager without owning it.
// Failures: FillBuffer answers S_FALSE at the end of the clip or when a read fails (end of stream),
// and the failure of FillSampleData otherwise (the stream aborts); IMediaSeeking answers
// E_POINTER, E_INVALIDARG and E_NOTIMPL as each operation states.
#pragma once

#include <cstdint>
#include <memory>

#include "clipmodel/FrameElementLayout.h"
#include "clipmodel/StreamManager.h"
#include "filters/FrameTime.h"
#include "platform/MediaSeeking.h"
#include "platform/SourceStream.h"

class CParseFilter;

// What one read of a frame gives a pin, and the size of the buffer ReadFrame is always told.
inline constexpr uint32_t kParserReadBufferSize = 0x1400000;
// ReadFrame's element mask of each pin.
inline constexpr uint32_t kElementPicture = 1;
inline constexpr uint32_t kElementSound = 2;
inline constexpr uint32_t kElementSystem = 4;

class CParserOutputPin : public CSourceStream, public IMediaSeeking {
public:
    static constexpr int64_t kNoPosition = 0x3FFFFFFFFFFFFFFF;
    static constexpr uint32_t kSeekingCaps = AM_SEEKING_CanSeekAbsolute |
                                             AM_SEEKING_CanSeekForwards |
                                             AM_SEEKING_CanSeekBackwards |
                                             AM_SEEKING_CanGetStopPos | AM_SEEKING_CanGetDuration;

    // `phr` gets E_FAIL when the read buffer cannot be had.
    CParserOutputPin(const char* objectName, HRESULT* phr, CParseFilter* filter,
                     const wchar_t* pinName, CURecursiveLock* shared, uint32_t elements,
                     uint32_t buffers, uint32_t bufferSize);
    ~CParserOutputPin() override;

    // IUnknown for both bases: the pin's own.
    HRESULT QueryInterface(REFIID riid, void** ppv) override {
        return NonDelegatingQueryInterface(riid, ppv);
    }
    uint32_t AddRef() override { return CSourceStream::AddRef(); }
    uint32_t Release() override { return CSourceStream::Release(); }
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // Given by Load: the clip and its range (duration and stop = frame count, start 0).
    virtual void SetStreamManager(StreamManager* manager, int64_t frameCount);
    // Copied from the seeking pin when the streams restart.
    int64_t StartPosition();
    int64_t PrerollStart();
    void SetStartAndPreroll(int64_t start, int64_t prerollStart);

    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps) override;

    // IMediaSeeking.
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

protected:
    // Copies what the pin carries from `buffer` (laid out as `layout`) into `sample`. `*skip`
    // (cleared first) drops the frame: the next one is read into the same sample.
    virtual HRESULT FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                                   const FrameElementLayout& layout, int64_t frame, bool* skip);
    // One frame into `sample`, with `*skip` as FillSampleData leaves it. The video pins wrap it.
    virtual HRESULT FillOneFrame(IMediaSample* sample, bool* skip);
    // FillOneFrame until a frame is kept. Not recursive, so a long run of dropped frames in a
    // damaged clip cannot exhaust the stack.
    HRESULT FillBuffer(IMediaSample* sample) final;
    HRESULT OnThreadStartPlay() override;

    // Hooks of the containers and the pins.
    // The frame count that bounds delivery.
    virtual int64_t TotalFrames();
    // Whether the base follows the filter's jump frame (not the audio pins).
    virtual bool FollowsJumps() const { return true; }
    // Sets m_nPrerollStart after a seek to `f` (clamped to the clip): the distance back to the
    // key frame before it, when the start changed.
    virtual void UpdatePrerollStart(bool startChanged, int64_t f);
    int64_t PrerollFor(int64_t f);
    // Whether the last frame of the clip goes out without the preroll mark even while prerolling.
    virtual bool ClearsPrerollOnLastFrame() const { return false; }
    // Called with m_pShared held when delivery jumps from frame `from` to `to`: the video pin
    // tells the graph (EC_QV_FRAME_JUMP); the timecode pin follows silently.
    void OnJump(int64_t from, int64_t to);
    // Called at the start of each run, before the base's own start (video pins reset their state).
    virtual void OnStartPlay() {}
    // Sample times of the frame just read; the base uses the frame times of m_nFramesSent.
    virtual void StampTimes(IMediaSample* sample, const FrameElementLayout& layout);

    // Copies `size` bytes at `offset` of the read buffer into `sample` as its data: the failure of
    // GetPointer or SetActualDataLength (data larger than the sample), E_FAIL for an element
    // outside the read buffer.
    static HRESULT CopyElement(IMediaSample* sample, const uint8_t* buffer, uint64_t offset,
                               uint64_t size);
    frame_time::Rate FrameRate();
    REFERENCE_TIME TimeOf(int64_t count) { return frame_time::FromFrames(count, FrameRate()); }
    CParseFilter* Parser() const { return m_pParser; }

    CParseFilter* const m_pParser;
    int64_t m_nStartFrame = 0;
    std::unique_ptr<uint8_t[]> m_pReadBuffer;
    uint32_t m_cbReadBuffer = kParserReadBufferSize;
    int64_t m_nFramesSent = 0;
    int64_t m_nPrerollCount = 0;
    int64_t m_nPrerollStart = 0;
    CURecursiveLock* const m_pShared;
    uint8_t m_bDiscontinuity = 1;
    const uint32_t m_cbBuffer;
    const uint32_t m_cBuffers;
    GUID m_TimeFormat = TIME_FORMAT_MEDIA_TIME;
    int64_t m_nDuration = kNoPosition;
    int64_t m_nStart = 0;
    int64_t m_nStop = kNoPosition;
    uint32_t m_dwSeekingCaps = kSeekingCaps;
    StreamManager* m_pStreamManager = nullptr;
    uint8_t m_bLastFrameSent = 0;
    const uint32_t m_dwElements;

private:
    // Position in the current format to frames; false for a format that is neither.
    bool ToFrames(int64_t value, int64_t* frames);
    bool FromFrames(int64_t frames, int64_t* value);
};

#include "filters/ParserOutputPin.h"

#include <cstring>
#include <new>

#include "filters/ParseFilter.h"
#include "filters/ParserEvents.h"

CParserOutputPin::CParserOutputPin(const char* objectName, HRESULT* phr, CParseFilter* filter,
                                   const wchar_t* pinName, CURecursiveLock* shared,
                                   uint32_t elements, uint32_t buffers, uint32_t bufferSize)
    : CSourceStream(objectName, phr, filter, pinName),
      m_pParser(filter),
      m_pReadBuffer(new (std::nothrow) uint8_t[kParserReadBufferSize]),
      m_pShared(shared),
      m_cbBuffer(bufferSize),
      m_cBuffers(buffers),
      m_dwElements(elements) {
    if (!m_pReadBuffer && phr) *phr = E_FAIL;
}

CParserOutputPin::~CParserOutputPin() = default;

HRESULT CParserOutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMediaSeeking) {
        if (!ppv) return E_POINTER;
        if (m_pParser && m_pParser->ClaimSeeking(this))
            return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
    }
    return CSourceStream::NonDelegatingQueryInterface(riid, ppv);
}

void CParserOutputPin::SetStreamManager(StreamManager* manager, int64_t frameCount) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    m_pStreamManager = manager;
    m_nDuration = frameCount;
    m_nStop = frameCount;
    m_nStart = 0;
}

int64_t CParserOutputPin::StartPosition() {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    return m_nStart;
}

int64_t CParserOutputPin::PrerollStart() {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    return m_nPrerollStart;
}

void CParserOutputPin::SetStartAndPreroll(int64_t start, int64_t prerollStart) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    m_nStart = start;
    m_nPrerollStart = prerollStart;
}

HRESULT CParserOutputPin::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps) {
    if (!pAlloc || !pProps) return E_POINTER;
    pProps->cBuffers = static_cast<int32_t>(m_cBuffers);
    pProps->cbBuffer = static_cast<int32_t>(m_cbBuffer);
    ALLOCATOR_PROPERTIES actual;
    return pAlloc->SetProperties(pProps, &actual);
}

HRESULT CParserOutputPin::CopyElement(IMediaSample* sample, const uint8_t* buffer, uint64_t offset,
                                      uint64_t size) {
    if (!sample || !buffer) return E_FAIL;
    uint8_t* data = nullptr;
    HRESULT hr = sample->GetPointer(&data);
    if (FAILED(hr)) return hr;
    if (offset > kParserReadBufferSize || size > kParserReadBufferSize - offset) return E_FAIL;
    hr = sample->SetActualDataLength(static_cast<int32_t>(size));
    if (FAILED(hr)) return hr;
    if (size) std::memcpy(data, buffer + offset, size);
    return S_OK;
}

frame_time::Rate CParserOutputPin::FrameRate() {
    frame_time::Rate rate{0, 0};
    if (m_pStreamManager) m_pStreamManager->GetFrameRate(rate);
    return rate;
}

int64_t CParserOutputPin::TotalFrames() {
    if (!m_pStreamManager) return 0;
    const uint64_t count = m_pStreamManager->GetFrameCount(-1);
    return count > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<int64_t>(count);
}

namespace {
// Positions come from the host: a sum that leaves the 64-bit range stops at its edge.
int64_t SaturatingAdd(int64_t a, int64_t b) {
    int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) return b > 0 ? INT64_MAX : INT64_MIN;
    return sum;
}
}  // namespace

void CParserOutputPin::UpdatePrerollStart(bool startChanged, int64_t f) {
    if (startChanged) m_nPrerollStart = PrerollFor(f);
}

int64_t CParserOutputPin::PrerollFor(int64_t f) {
    if (!m_pStreamManager || f < 0) return 0;
    const uint64_t key = m_pStreamManager->GetKeyFrame(static_cast<uint64_t>(f));
    // A key frame after the frame itself would mean a broken index: no preroll then.
    return key <= static_cast<uint64_t>(f) ? static_cast<int64_t>(key) - f : 0;
}

// ---- Delivery -------------------------------------------------------------------------------

HRESULT CParserOutputPin::OnThreadStartPlay() {
    REFERENCE_TIME start = 0, stop = 0;
    {
        std::lock_guard<CURecursiveLock> guard(*m_pShared);
        OnStartPlay();
        m_nStartFrame = m_nStart;
        m_nFramesSent = 0;
        const int64_t total = TotalFrames();
        if (total <= m_nStartFrame) m_nStartFrame = total - 1;
        m_bDiscontinuity = 1;
        m_bLastFrameSent = 0;
        start = TimeOf(m_nStart);
        stop = TimeOf(m_nStop);
    }
    return DeliverNewSegment(start, stop, 1.0);
}

HRESULT CParserOutputPin::FillBuffer(IMediaSample* sample) {
    for (;;) {
        bool skip = false;
        const HRESULT hr = FillOneFrame(sample, &skip);
        if (!skip) return hr;
    }
}

HRESULT CParserOutputPin::FillOneFrame(IMediaSample* sample, bool* skip) {
    *skip = false;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    if (m_pParser && FollowsJumps() && m_nPrerollCount >= 0) {
        const int64_t jump = m_pParser->JumpFrame();
        const int64_t current = m_nStartFrame + m_nPrerollCount + m_nFramesSent;
        if (current < jump) {
            OnJump(current, jump);
            m_nFramesSent += jump - current;
        }
    }
    int64_t frame = m_nStartFrame + m_nPrerollCount + m_nFramesSent;
    const int64_t total = TotalFrames();
    if (total <= frame) {
        if (m_bLastFrameSent) return S_FALSE;
        frame = total - 1;
    }
    const bool isLast = frame == total - 1;
    if (isLast) m_bLastFrameSent = 1;

    HRESULT hr = S_OK;
    if (frame < 0 || !m_pReadBuffer || m_cbReadBuffer < kParserReadBufferSize ||
        !m_pStreamManager) {
        hr = S_FALSE;
    } else {
        FrameElementLayout layout;
        if (m_pStreamManager->ReadFrame(static_cast<uint64_t>(frame), m_pReadBuffer.get(),
                                        kParserReadBufferSize, &layout, m_dwElements) != 1) {
            hr = S_FALSE;
        } else {
            hr = FillSampleData(sample, m_pReadBuffer.get(), layout, frame, skip);
            if (SUCCEEDED(hr)) {
                if (m_nPrerollCount >= 0) {
                    StampTimes(sample, layout);
                    sample->SetPreroll(false);
                } else {
                    sample->SetTime(nullptr, nullptr);
                    *skip = false;
                    sample->SetPreroll(!(isLast && ClearsPrerollOnLastFrame()));
                }
                if (m_bDiscontinuity) {
                    sample->SetDiscontinuity(true);
                    m_bDiscontinuity = 0;
                }
            }
        }
    }
    if (m_nPrerollCount < 0) {
        ++m_nPrerollCount;
    } else {
        ++m_nFramesSent;
    }
    return hr;
}

void CParserOutputPin::OnJump(int64_t from, int64_t to) {
    if (m_dwElements == kElementPicture && m_pParser)
        m_pParser->NotifyEvent(EC_QV_FRAME_JUMP, static_cast<LONG_PTR>(from),
                               static_cast<LONG_PTR>(to));
}

void CParserOutputPin::StampTimes(IMediaSample* sample, const FrameElementLayout&) {
    REFERENCE_TIME start = TimeOf(m_nFramesSent), stop = TimeOf(m_nFramesSent + 1);
    sample->SetTime(&start, &stop);
}

HRESULT CParserOutputPin::FillSampleData(IMediaSample*, const uint8_t*, const FrameElementLayout&,
                                         int64_t, bool* skip) {
    if (skip) *skip = false;
    return E_FAIL;
}

// ---- IMediaSeeking ----------------------------------------------------------------------------

HRESULT CParserOutputPin::GetCapabilities(uint32_t* pCapabilities) {
    if (!pCapabilities) return E_POINTER;
    *pCapabilities = m_dwSeekingCaps;
    return S_OK;
}

HRESULT CParserOutputPin::CheckCapabilities(uint32_t* pCapabilities) {
    if (pCapabilities) *pCapabilities = 0;
    return E_FAIL;
}

HRESULT CParserOutputPin::IsFormatSupported(const GUID* pFormat) {
    if (!pFormat) return S_FALSE;
    return *pFormat == TIME_FORMAT_FRAME || *pFormat == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
}

HRESULT CParserOutputPin::QueryPreferredFormat(GUID* pFormat) {
    if (!pFormat) return E_POINTER;
    *pFormat = TIME_FORMAT_FRAME;
    return S_OK;
}

HRESULT CParserOutputPin::GetTimeFormat(GUID* pFormat) {
    if (!pFormat) return E_POINTER;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    *pFormat = m_TimeFormat;
    return S_OK;
}

HRESULT CParserOutputPin::IsUsingTimeFormat(const GUID* pFormat) {
    if (!pFormat) return S_FALSE;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    return *pFormat == m_TimeFormat ? S_OK : S_FALSE;
}

HRESULT CParserOutputPin::SetTimeFormat(const GUID* pFormat) {
    if (!pFormat) return E_POINTER;
    if (*pFormat != TIME_FORMAT_FRAME && *pFormat != TIME_FORMAT_MEDIA_TIME) return E_NOTIMPL;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    m_TimeFormat = *pFormat;
    return S_OK;
}

bool CParserOutputPin::ToFrames(int64_t value, int64_t* frames) {
    if (m_TimeFormat == TIME_FORMAT_FRAME) {
        *frames = value;
        return true;
    }
    if (m_TimeFormat != TIME_FORMAT_MEDIA_TIME) return false;
    *frames = frame_time::ToFrames(value, FrameRate());
    return true;
}

bool CParserOutputPin::FromFrames(int64_t frames, int64_t* value) {
    if (m_TimeFormat == TIME_FORMAT_FRAME) {
        *value = frames;
        return true;
    }
    if (m_TimeFormat != TIME_FORMAT_MEDIA_TIME) return false;
    *value = TimeOf(frames);
    return true;
}

HRESULT CParserOutputPin::GetDuration(int64_t* pDuration) {
    if (!pDuration) return E_POINTER;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    return FromFrames(m_nDuration, pDuration) ? S_OK : E_NOTIMPL;
}

HRESULT CParserOutputPin::GetStopPosition(int64_t* pStop) {
    if (!pStop) return E_POINTER;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    return FromFrames(m_nStop, pStop) ? S_OK : E_NOTIMPL;
}

HRESULT CParserOutputPin::GetCurrentPosition(int64_t*) {
    return E_NOTIMPL;
}

HRESULT CParserOutputPin::ConvertTimeFormat(int64_t* pTarget, const GUID* pTargetFormat,
                                            int64_t source, const GUID* pSourceFormat) {
    if (!pTarget) return E_POINTER;
    GUID target, from;
    {
        std::lock_guard<CURecursiveLock> guard(*m_pShared);
        target = pTargetFormat ? *pTargetFormat : m_TimeFormat;
        from = pSourceFormat ? *pSourceFormat : m_TimeFormat;
    }
    if (target == from) {
        *pTarget = source;
        return S_OK;
    }
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    if (from == TIME_FORMAT_FRAME && target == TIME_FORMAT_MEDIA_TIME) {
        *pTarget = TimeOf(source);
        return S_OK;
    }
    if (from == TIME_FORMAT_MEDIA_TIME && target == TIME_FORMAT_FRAME) {
        *pTarget = frame_time::ToFrames(source, FrameRate());
        return S_OK;
    }
    return E_INVALIDARG;
}

HRESULT CParserOutputPin::SetPositions(int64_t* pCurrent, uint32_t currentFlags, int64_t* pStop,
                                       uint32_t stopFlags) {
    const uint32_t currentBits = currentFlags & AM_SEEKING_PositioningBitsMask;
    const uint32_t stopBits = stopFlags & AM_SEEKING_PositioningBitsMask;
    HRESULT currentCheck = S_OK;
    if (currentFlags != 0) {
        if (!pCurrent) {
            currentCheck = E_POINTER;
        } else if (currentBits != AM_SEEKING_AbsolutePositioning &&
                   currentBits != AM_SEEKING_RelativePositioning) {
            currentCheck = E_INVALIDARG;
        }
    }
    if (stopFlags != 0) {
        if (!pStop) return E_POINTER;
        if (stopBits == 0) return E_INVALIDARG;
    }
    if (FAILED(currentCheck)) return currentCheck;

    bool changed = false;
    {
        std::lock_guard<CURecursiveLock> guard(*m_pShared);
        int64_t current = 0, stop = 0;
        if (currentBits && !ToFrames(*pCurrent, &current)) return E_INVALIDARG;
        if (stopBits && !ToFrames(*pStop, &stop)) return E_INVALIDARG;

        const int64_t total = TotalFrames();
        const int64_t oldStart = m_nStart, oldStop = m_nStop;
        if (currentBits == AM_SEEKING_AbsolutePositioning) m_nStart = current;
        if (currentBits == AM_SEEKING_RelativePositioning) m_nStart = SaturatingAdd(oldStart, current);
        if (stopBits == AM_SEEKING_AbsolutePositioning) m_nStop = stop;
        if (stopBits == AM_SEEKING_RelativePositioning) m_nStop = SaturatingAdd(oldStop, stop);
        if (stopBits == AM_SEEKING_IncrementalPositioning) m_nStop = SaturatingAdd(m_nStart, stop);
        if (total < m_nStart) m_nStart = total;
        // A negative start is before the first frame: the clip starts at 0.
        if (m_nStart < 0) m_nStart = 0;

        if ((currentFlags & AM_SEEKING_ReturnTime) && pCurrent) *pCurrent = TimeOf(m_nStart);
        if ((stopFlags & AM_SEEKING_ReturnTime) && pStop) *pStop = TimeOf(m_nStop);

        const int64_t f = m_nStart >= total ? total - 1 : m_nStart;
        UpdatePrerollStart(m_nStart != oldStart, f);
        changed = m_nStart != oldStart || m_nStop != oldStop;
    }
    if (!changed) {
        if (!currentBits) return stopBits ? S_OK : S_FALSE;
        return m_pParser ? m_pParser->RestartStreams() : S_OK;
    }
    if (!currentBits) return stopBits ? S_OK : S_FALSE;
    return m_pParser ? m_pParser->RestartStreams() : S_OK;
}

HRESULT CParserOutputPin::GetPositions(int64_t* pCurrent, int64_t* pStop) {
    if (!pCurrent || !pStop) return E_POINTER;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    if (!FromFrames(m_nStart, pCurrent) || !FromFrames(m_nStop, pStop)) return E_NOTIMPL;
    return S_OK;
}

HRESULT CParserOutputPin::GetAvailable(int64_t*, int64_t*) {
    return E_NOTIMPL;
}

HRESULT CParserOutputPin::SetRate(double) {
    return E_NOTIMPL;
}

HRESULT CParserOutputPin::GetRate(double* pRate) {
    if (!pRate) return E_POINTER;
    *pRate = 1.0;
    return S_OK;
}

HRESULT CParserOutputPin::GetPreroll(int64_t* pPreroll) {
    if (!pPreroll) return E_POINTER;
    *pPreroll = 0;
    return S_OK;
}

// IMediaSeeking: how a host reads and moves the position of a stream: duration, start and stop,
// time formats. Parser output pins answer it; renderers pass it upstream (CRendererPosPassThru).
//
// Positions are in the current time format: TIME_FORMAT_MEDIA_TIME counts 100-ns units,
// TIME_FORMAT_FRAME counts frames. SetPositions takes a flag word per position: the low bits
// (AM_SEEKING_PositioningBitsMask) say how the value applies, AM_SEEKING_ReturnTime asks for the
// resulting position to be written back as media time.
// Threads: any thread; each implementation states its own locking.
// Failures: E_POINTER for null out pointers, E_INVALIDARG for unknown formats or flags, E_NOTIMPL
// for what an implementation does not offer.
#pragma once

#include <cstdint>

#include "platform/Guid.h"
#include "platform/InterfaceIds.h"
#include "platform/ReferenceTime.h"
#include "platform/Unknown.h"

// {71760008-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IMediaSeeking = qv_iid_detail::Make(0x71760008);
// {71760009-7176-4600-A5C3-515646000000}
inline constexpr IID IID_IMediaPosition = qv_iid_detail::Make(0x71760009);

// Time formats; the null GUID stands for "the current one" where a format is an argument.
inline constexpr GUID TIME_FORMAT_NONE = GUID_NULL;
inline constexpr GUID TIME_FORMAT_FRAME = qv_iid_detail::Make(0x71760201);
inline constexpr GUID TIME_FORMAT_BYTE = qv_iid_detail::Make(0x71760202);
inline constexpr GUID TIME_FORMAT_SAMPLE = qv_iid_detail::Make(0x71760203);
inline constexpr GUID TIME_FORMAT_FIELD = qv_iid_detail::Make(0x71760204);
inline constexpr GUID TIME_FORMAT_MEDIA_TIME = qv_iid_detail::Make(0x71760205);

// Seeking capabilities.
inline constexpr uint32_t AM_SEEKING_CanSeekAbsolute = 0x1;
inline constexpr uint32_t AM_SEEKING_CanSeekForwards = 0x2;
inline constexpr uint32_t AM_SEEKING_CanSeekBackwards = 0x4;
inline constexpr uint32_t AM_SEEKING_CanGetCurrentPos = 0x8;
inline constexpr uint32_t AM_SEEKING_CanGetStopPos = 0x10;
inline constexpr uint32_t AM_SEEKING_CanGetDuration = 0x20;

// SetPositions flags.
inline constexpr uint32_t AM_SEEKING_NoPositioning = 0x0;
inline constexpr uint32_t AM_SEEKING_AbsolutePositioning = 0x1;
inline constexpr uint32_t AM_SEEKING_RelativePositioning = 0x2;
inline constexpr uint32_t AM_SEEKING_IncrementalPositioning = 0x3;
inline constexpr uint32_t AM_SEEKING_PositioningBitsMask = 0x3;
inline constexpr uint32_t AM_SEEKING_SeekToKeyFrame = 0x4;
inline constexpr uint32_t AM_SEEKING_ReturnTime = 0x8;

class IMediaSeeking : public IUnknown {
public:
    virtual HRESULT GetCapabilities(uint32_t* pCapabilities) = 0;
    virtual HRESULT CheckCapabilities(uint32_t* pCapabilities) = 0;
    virtual HRESULT IsFormatSupported(const GUID* pFormat) = 0;
    virtual HRESULT QueryPreferredFormat(GUID* pFormat) = 0;
    virtual HRESULT GetTimeFormat(GUID* pFormat) = 0;
    virtual HRESULT IsUsingTimeFormat(const GUID* pFormat) = 0;
    virtual HRESULT SetTimeFormat(const GUID* pFormat) = 0;
    virtual HRESULT GetDuration(int64_t* pDuration) = 0;
    virtual HRESULT GetStopPosition(int64_t* pStop) = 0;
    virtual HRESULT GetCurrentPosition(int64_t* pCurrent) = 0;
    virtual HRESULT ConvertTimeFormat(int64_t* pTarget, const GUID* pTargetFormat, int64_t source,
                                      const GUID* pSourceFormat) = 0;
    virtual HRESULT SetPositions(int64_t* pCurrent, uint32_t currentFlags, int64_t* pStop,
                                 uint32_t stopFlags) = 0;
    virtual HRESULT GetPositions(int64_t* pCurrent, int64_t* pStop) = 0;
    virtual HRESULT GetAvailable(int64_t* pEarliest, int64_t* pLatest) = 0;
    virtual HRESULT SetRate(double rate) = 0;
    virtual HRESULT GetRate(double* pRate) = 0;
    virtual HRESULT GetPreroll(int64_t* pPreroll) = 0;
};

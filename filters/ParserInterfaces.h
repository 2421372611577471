// The parser filters' own interfaces: how a host hands a clip to a parser filter and asks for a
// reduced picture.
// Threads: called by the host's controlling thread before the graph runs. Failures: Load answers
// S_OK or E_FAIL; GetCurFile always E_FAIL.
#pragma once

#include <cstdint>

#include "clipmodel/CMBXClip.h"
#include "filters/FilterIds.h"
#include "platform/MediaType.h"
#include "platform/Unknown.h"

class IFileSourceCustomFilter : public IUnknown {
public:
    // Opens the clip at `path` with the host's clip object; the filter keeps its own reference
    // to `clip` only as long as the clip needs it.
    virtual HRESULT Load(const wchar_t* path, CUSharedPtr<CMBXClip> clip) = 0;
    // Kept for the host's calling shape; a parser does not report its file.
    virtual HRESULT GetCurFile(wchar_t** ppszFileName, AM_MEDIA_TYPE* pmt) = 0;
};

// Picture scales: full size, half, quarter.
inline constexpr uint32_t kPictureScaleFull = 0;
inline constexpr uint32_t kPictureScaleHalf = 1;
inline constexpr uint32_t kPictureScaleQuarter = 2;

class IMXFParserFilter : public IUnknown {
public:
    // Must come before the video pin connects: the scale goes into the offered media type.
    virtual void SetPictureScale(uint32_t scale) = 0;
};

class IMP4ParserFilter : public IUnknown {
public:
    virtual void SetPictureScale(uint32_t scale) = 0;
};

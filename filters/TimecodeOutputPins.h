// The parsers' timecode pins ("Time_"): the system item of each frame as a private sample, so
// that a timecode renderer downstream shows the timecode and the shooting metadata of the frame
// on screen. They use the parser pin base unchanged and so follow the video pin's jumps.
//
// MXF sample: u64 system item size S, S bytes, u64 ancillary data size A, A bytes (S + A + 16
// bytes in all, little-endian sizes). MP4 sample: the system item bytes alone.
// Media type: the container's private timecode type with the private stream subtype, format type
// FORMAT_None and a 4-byte block holding 1; CheckMediaType compares major type and subtype.
// Threads: as CParserOutputPin. Failures: E_FAIL for an element outside the read buffer, the
// sample's failure when the data does not fit it.
#pragma once

#include "filters/MP4ParserOutputPin.h"
#include "filters/MXFParserOutputPin.h"

class MXFTimecodeOutputPin : public MXFParserOutputPin {
public:
    MXFTimecodeOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared);

    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;

protected:
    HRESULT FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                           const FrameElementLayout& layout, int64_t frame, bool* skip) override;
};

class MP4TimecodeOutputPin : public MP4ParserOutputPin {
public:
    MP4TimecodeOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared);

    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;

protected:
    HRESULT FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                           const FrameElementLayout& layout, int64_t frame, bool* skip) override;
};

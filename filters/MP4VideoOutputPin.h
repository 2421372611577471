// MP4VideoOutputPin: the video pin of the MP4 parser ("Video_"). It offers the compressed picture
// with the video format block (see VideoFormat.h; the MP4 flag set), marks every GOP's first
// frame as a sync point, and catches up when the graph falls behind: it averages the last three
// late times and jumps to the next decodable frame (a little late), the next intra frame or sync
// sample (very late). Nothing in the clip's last GOP is jumped over.
// Threads: Notify comes on the thread downstream and takes m_pShared, as FillBuffer does.
// Failures: Notify always answers S_OK.
#pragma once

#include "filters/MP4ParserOutputPin.h"
#include "filters/VideoFormat.h"

// Sample-entry tags, as the movie box spells them (big-endian four-character codes).
inline constexpr uint32_t kMP4TagAVC1 = 0x61766331;  // "avc1"
inline constexpr uint32_t kMP4TagHVC1 = 0x68766331;  // "hvc1"
// GetContainerType of an MP4-family clip.
inline constexpr uint32_t kContainerMP4 = 2;

class MP4VideoOutputPin : public MP4ParserOutputPin {
public:
    MP4VideoOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared);

    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT Notify(IBaseFilter* pSelf, Quality q) override;

    void SetPictureScale(uint32_t scale);

protected:
    HRESULT FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                           const FrameElementLayout& layout, int64_t frame, bool* skip) override;
    void OnStartPlay() override;

private:
    uint32_t m_nSkipLevel = 0;
    uint32_t m_nPictureScale = 0;
    int32_t m_nLateTimeMilliSec = 0;
    int32_t m_aLateTimes[3] = {};
    int32_t m_iLateTime = 0;
    int64_t m_nCurrentFrame = -1;
    uint32_t m_dwCodecTag = kMP4TagAVC1;
};

// MXFVideoOutputPin: the video pin of the MXF parser ("Video_"). It offers the compressed picture
// with the video format block (see VideoFormat.h), marks sync points from the index flags, and
// keeps the graph in time when it falls behind: quality messages from downstream make it jump
// forward in the clip and drop frames by class.
//
// Frame classes, from the index flags & 0x30: 0x00 intra, 0x10 and 0x30 frames that nothing
// refers to in a skip, 0x20 frames others refer to. Skip level 0 delivers everything; level 1
// drops 0x30 frames except those right behind a kept 0x20 frame; level 2 also drops 0x20 frames.
// Level 1 falls back to 0 once two intra frames went by and a quality message finds the stream on
// time; level 2 falls to 1 at the next such message. For HEVC clips the pin instead averages the
// last three late times and, when more than 300 ms behind, jumps from recovery point to recovery
// point (index class 0 or 4).
// Threads: Notify comes on the thread downstream and takes m_pShared, as FillBuffer does; all
// late-frame state is guarded by it. Failures: Notify answers E_FAIL when it does nothing
// (no clip, not late enough, nothing to jump to).
#pragma once

#include "filters/MXFParserOutputPin.h"
#include "filters/VideoFormat.h"

class MXFVideoOutputPin : public MXFParserOutputPin {
public:
    MXFVideoOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared);

    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT Notify(IBaseFilter* pSelf, Quality q) override;

    void SetPictureScale(uint32_t scale);

protected:
    HRESULT FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                           const FrameElementLayout& layout, int64_t frame, bool* skip) override;
    HRESULT FillOneFrame(IMediaSample* sample, bool* skip) override;
    void OnStartPlay() override;

private:
    // The codec kind of the open clip.
    video_format::CodecKind CodecKind();
    // The recovery-point walk of HEVC clips; returns what the base returned.
    HRESULT FillOneHEVCFrame(IMediaSample* sample, bool* skip);

    uint32_t m_nSkipLevel = 0;
    uint32_t m_nLastFrameClass = 2;
    uint8_t m_bIntraSeen1 = 0;
    uint8_t m_bIntraSeen2 = 0;
    uint32_t m_nCodecKind = 0;
    uint32_t m_nPictureScale = 0;
    uint8_t m_bRecoveryArmed = 0;
    int32_t m_nLateTimeMilliSec = 0;
    int32_t m_aLateTimes[3] = {};
    int32_t m_iLateTime = 0;
    // The first frame from which a search found no recovery point; the search does not run again
    // from there, so a clip without any costs one walk per run, not one per frame.
    int64_t m_nNoRecoveryFrom = INT64_MAX;
};

// RangeGate: the host's pass-through filter that keeps a stream to the frames being played. The
// parser's sound and timecode pins deliver to the clip's end whatever range the host plays; the
// gate passes the samples of frames [first, end) unchanged (bytes, times and flags), drops those
// before `first` silently, and at the first sample at or past `end` ends the stream downstream
// (EndOfStream) and answers S_FALSE, so that the renderers behind it report EC_COMPLETE exactly
// when the range is through. A sample's frame is the frame its segment began at plus the frames
// its start time counts; one without times counts as the frame after the last.
// Threads: the streaming calls on the upstream thread (CTransformFilter's receive lock); the
// segment state is touched on that thread only. Failures: as CTransformFilter; the output
// connects only with the input's type.
#pragma once

#include "filters/FrameTime.h"
#include "platform/TransformFilter.h"

namespace qvclip {

class RangeGate : public CTransformFilter {
public:
    RangeGate(frame_time::Rate rate, int64_t first, int64_t end);

    HRESULT Transform(IMediaSample* pIn, IMediaSample* pOut) override;
    HRESULT CheckInputType(const CMediaType*) override { return S_OK; }
    HRESULT CheckTransform(const CMediaType* in, const CMediaType* out) override;
    HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;

    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT EndOfStream() override;
    HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

private:
    const frame_time::Rate rate;
    const int64_t first;
    const int64_t end;
    int64_t segmentFrame = 0;  // streaming thread
    int64_t nextFrame = 0;     // streaming thread: the frame after the last one seen
    bool ended = false;        // streaming thread
};

}  // namespace qvclip

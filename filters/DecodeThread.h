// CDecodeThread: the worker of the movie decode filter. It takes compressed samples from its input
// queue, feeds the decoder with them in place, pairs each picture that comes out with the oldest
// times that went in (input times rise in decode order, so pictures get rising times in display
// order), drops the pictures of preroll samples, and hands the rest to its delivery thread. Every
// picture is a sync point; the first one after a new segment is marked a discontinuity.
//
// A new segment restarts the decoder (Uninitialize, Initialize) on this thread, where the decoder
// is only ever used, and forgets the times still inside it; when the decoder refuses, the segment
// goes no further. End of stream drains the pictures the decoder still holds before the marker
// goes on. On an HEVC stream a discontinuity drains them before the new input goes in.
//
// Late input: SkipLateInput, on the thread of a quality message, throws away queued input that
// cannot be shown in time: from the front on an all-intra stream; only the samples that are not
// sync points on an MXF long-GOP stream; on an MP4 stream those are marked preroll instead (they
// must still be decoded) and their pictures are dropped. It also marks the first time still inside
// the decoder that is too late, so that its picture is dropped.
//
// A decoder that takes nothing and gives nothing fails the sample; one that keeps giving pictures
// without taking any input is stopped after kMaxCallsWithoutInput calls on one sample, and that
// sample is dropped.
// Threads: Run on the worker; SkipLateInput on a quality thread, under the input queue's lock
// with the frame list's own lock inside it; the frame list is guarded by m_csFrameList. Lock
// order: input queue, m_pWorkLock, m_csFrameList, delivery queue.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>

#include "codecs/FrameInfo.h"
#include "codecs/IMBXMovieDecoder.h"
#include "filters/PipelineWorker.h"

class CDecodeThread final : public CPipelineWorker {
public:
    static constexpr const char* kMutexName = "D3C70C23-9D93-401E-947C-E2BC387286FA";
    static constexpr uint32_t kMaxCallsWithoutInput = 64;

    // `config` is the filter's and outlives the thread. Starts the thread.
    CDecodeThread(CUSharedPtr<IMBXMovieDecoder> decoder, const DecoderConfig* config,
                  uint8_t mp4Source);
    ~CDecodeThread() override;

    int Run() override;

    // 1 when the walk reached a marker or a sample still due, 0 when it ran through the queue.
    int SkipLateInput(REFERENCE_TIME limit, bool longGop, REFERENCE_TIME window);

    size_t FrameListCount();

private:
    // One Decode call of `sample` (null: drain) into `out`; `more` says whether input of the
    // sample is left.
    HRESULT DecodeOne(IMediaSample* sample, IMediaSample* out, bool* more);
    // Gives out what the decoder still holds; under m_pWorkLock.
    void DrainDecoder();
    // The new-segment marker: restart the decoder and pass the segment on.
    void StartSegment(const SegmentRecord& record);

    const CUSharedPtr<IMBXMovieDecoder> m_pDecoder;
    const DecoderConfig* const m_pConfig;  // not owned
    int64_t m_rtLastStart = -1;             // worker only
    std::deque<FrameInfo> m_FrameList;      // guarded by m_csFrameList; oldest first
    std::mutex m_csFrameList;
    uint32_t m_nInputOffset = 0;  // worker only
    uint32_t m_nLastConsumed = 0;  // worker only: `consumed` of the last Decode
    const uint8_t m_bMp4Source;
};

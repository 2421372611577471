// CMovieResizeThread: the worker of the movie resize filter. It takes decoded full-size pictures
// from its input queue, reduces each one into an output sample (to a half at picture scale 1, a
// quarter at scale 2) with its own CMBXImageResizeUtility, carries the input's times and
// dwTypeSpecificFlags over, and hands the result to its delivery thread. New-segment and
// end-of-stream markers go on to the delivery thread in their place in the stream.
//
// A sample at another scale, or one whose picture sizes do not fit its buffers, is not resized:
// at another scale the output goes on with the input's length and unwritten content; a picture
// larger than the input holds or the output takes is dropped (it would be read or written out of
// bounds). An empty input sample gives nothing. A resizer that refuses leaves the input's length.
// Threads: Run on the worker; the resizer and the configuration's reading belong to it. The
// configuration is the filter's, written while the graph is stopped. Lock order: input queue,
// m_pWorkLock, delivery queue.
#pragma once

#include <cstdint>

#include "codecs/IMBXMovieDecoder.h"
#include "filters/PipelineWorker.h"
#include "image/CMBXImageResizeUtility.h"

class CMovieResizeThread final : public CPipelineWorker {
public:
    static constexpr const char* kMutexName = "AF34DEB8-0BA0-4668-8ED9-68704E48C0B4";

    // `config` is the filter's and outlives the thread. Starts the thread.
    explicit CMovieResizeThread(const DecoderConfig* config);
    ~CMovieResizeThread() override;

    int Run() override;

private:
    // Resizes `input` into `output` and carries times and flags over; under m_pWorkLock.
    HRESULT ResizeSample(IMediaSample* input, IMediaSample* output);
    void ResizeOne(IMediaSample* sample);  // one picture: buffer, resize, delivery

    const DecoderConfig* const m_pConfig;  // not owned
    const CUSharedPtr<CMBXImageResizeUtility> m_pResizer;
};

// CConvertThread: the worker of the convert filter. It takes decoded pictures from its input
// queue, gets an output buffer, lets its CMBXMatchingImageMaker write the converted picture
// straight into it, and hands the result to its delivery thread (a CConvertDeliverThread).
// Markers pass in order: a new segment and end of stream go on to the delivery thread, a flush
// marker is acknowledged. Each picture's "needs no range expansion" flag (the input's type
// specific flags) goes to the maker before the conversion.
//
// The maker is made, given the parameters and started by the constructor, and stopped by the
// destructor after the thread has ended. SetParameters hands new parameters to the maker; they
// take effect from the next picture.
//
// A picture is converted only when the input holds width × height pixels of its layout and the
// output buffer (width + linePadding) × height pixels of 32 bits; otherwise the output buffer is
// dropped and the stream goes on; so is every picture when the maker could not be made (markers
// and flushes still pass). The output's data length is the converted picture's size, and
// it carries the input's times, sync point, discontinuity and type specific flags.
// Threads: Run on the worker; SetParameters on any thread (under m_csParameters, held by the worker
// across a picture's size check and conversion, so that both see the same parameters). Lock
// order: input queue, m_pWorkLock, m_csParameters, the maker's lock, delivery queue.
// Ownership: owns the maker (shared pointer) and, through the base, the queues and delivery thread.
#pragma once

#include <mutex>

#include "filters/PipelineWorker.h"
#include "image/CMBXMatchingImageMaker.h"

class CConvertThread final : public CPipelineWorker {
public:
    static constexpr const char* kMutexName = "75917CD7-2BD4-4F2D-B76F-5B2631B9CE9A";
    static constexpr uint32_t kOutputBytesPerPixel = 4;

    // Makes and starts the maker with `parameters`, then starts the thread. `processorCount`
    // sizes the maker's worker pool.
    explicit CConvertThread(const MatchingParameters& parameters,
                            uint32_t processorCount = GetProcessorCount());
    ~CConvertThread() override;

    int Run() override;

    void SetParameters(const MatchingParameters& parameters);
    MatchingParameters Parameters();

private:
    // Converts `in` into a delivery buffer and posts it; releases nothing of `in`.
    void ConvertOne(IMediaSample* in);
    // The picture's sizes fit both samples.
    static bool Fits(const MatchingParameters& p, int64_t inputBytes, int64_t outputBytes,
                     int32_t* pictureBytes);

    CUSharedPtr<CMBXMatchingImageMaker> m_pMaker;
    std::mutex m_csParameters;
    MatchingParameters m_Parameters;  // guarded by m_csParameters: what the maker was last given
};

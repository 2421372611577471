// CMovieDecodeFilter: compressed video from a parser pin in, whole pictures out ("YUY2", or "BGR4"
// for RGB clips), through a decoder behind IMBXMovieDecoder chosen from the codec kind of the
// input's format block (2 MPEG-2, 0 H.264, any other HEVC). Receive only queues: a CDecodeThread
// decodes and a CDeliverThread delivers, both made at connection and living until the filter
// goes. Lateness downstream throws away queued input (see CDecodeThread::SkipLateInput).
//
// Output type: video, FORMAT_VideoInfo2 with a 152-byte block taken from the input's (size,
// frame time, compression, colour codes, look) and the decoder configuration (scale, full size);
// subtype RGB32 for "BGR4" pictures, else YUY2. The output pool: 5 buffers of 0xCA80000 bytes,
// 10 on a machine with at least 16 GiB of memory.
// Threads: Receive, EndOfStream, NewSegment on the upstream thread; flushes on the controlling
// thread; AlterQuality on the thread of the quality message. The worker pointer is set once at
// connection (stopped) and read by the others.
// Ownership: the filter owns the worker (deleted first in the destructor), the configuration and
// a reference on the decoder.
// Failures: DecideBufferSize answers E_POINTER without an input pin and E_UNEXPECTED while the
// input is not connected; a decoder that cannot be made leaves the filter without a worker, and
// its Receive then drops samples.
#pragma once

#include <atomic>
#include <memory>

#include "codecs/IMBXMovieDecoder.h"
#include "filters/DecodeThread.h"
#include "filters/PipelineFilter.h"

class CMovieDecodeFilter : public CPipelineFilter<CDecodeThread> {
public:
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

    CMovieDecodeFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid);
    ~CMovieDecodeFilter() override;

    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT CheckInputType(const CMediaType* mtIn) override;
    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override;
    HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT AlterQuality(const Quality& q) override;
    HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin) override;

    HRESULT Receive(IMediaSample* pSample) override;

    // For tests and the host: the configuration the decoder reads.
    const DecoderConfig& Config() const { return *m_pConfig; }

    // The output pool's buffer size and counts.
    static constexpr int32_t kOutputBufferSize = 0xCA80000;
    static constexpr int32_t kOutputBuffers = 5;
    static constexpr int32_t kOutputBuffersLargeMachine = 10;
    static constexpr uint64_t kLargeMachineMemory = 0x400000000;  // 16 GiB

private:
    CUSharedPtr<IMBXMovieDecoder> m_pDecoder;
    std::atomic<uint8_t> m_bHasNonSyncSamples{0};
    std::unique_ptr<DecoderConfig> m_pConfig;
};

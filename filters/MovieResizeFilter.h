// CMovieResizeFilter: decoded full-size pictures in, pictures reduced to a half or a quarter out,
// when the parser was told to show a reduced picture. It sits behind the movie decoder; Receive
// only queues: a CMovieResizeThread resizes and a CDeliverThread delivers, both made at
// connection (once the input type gave a pixel format) and living until the filter goes.
//
// The parser has already put the scaled size into the types, so input and output types show it
// while input samples hold full-size pictures; the input format's tail gives the full size and
// the scale, which CompleteConnect keeps in the configuration (a DecoderConfig-shaped record of
// which the pixel format, size, scale and full size are used).
// Output type: video, FORMAT_VideoInfo2 with a 152-byte block: the input's first 112 bytes, its
// gamma, gamut, HLG colour and look; the rest zero. Subtype RGB32 for "BGR4" pictures, else YUY2.
// The output pool: 2 buffers of 0x32A0000 bytes, whatever the clip.
// Threads: Receive, EndOfStream, NewSegment on the upstream thread; flushes on the controlling
// thread; connection calls while stopped. The worker pointer is set once at connection.
// Ownership: the filter owns the worker (deleted first in the destructor) and the configuration.
// Failures: DecideBufferSize answers E_POINTER for null arguments or without an input pin and
// E_UNEXPECTED while the input is not connected; without a worker the entry points drop samples.
#pragma once

#include <atomic>
#include <memory>

#include "codecs/IMBXMovieDecoder.h"
#include "filters/MovieResizeThread.h"
#include "filters/PipelineFilter.h"

class CMovieResizeFilter : public CPipelineFilter<CMovieResizeThread> {
public:
    CMovieResizeFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid);
    ~CMovieResizeFilter() override;

    HRESULT CheckInputType(const CMediaType* mtIn) override;
    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override;
    HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin) override;

    // For tests and the host.
    const DecoderConfig& Config() const { return *m_pConfig; }

    static constexpr int32_t kOutputBufferSize = 0x32A0000;
    static constexpr int32_t kOutputBuffers = 2;

private:
    std::unique_ptr<DecoderConfig> m_pConfig;
};

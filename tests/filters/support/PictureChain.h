// A test chain for the picture filters: a source pushing `count` pictures of a given type one
// frame apart, the filter under test, and a recording renderer, connected in a CFilterGraph. The
// test's `fill` writes each picture's bytes (and any marks on the sample) and returns its length;
// at `flushAt` the source flushes downstream from its streaming thread and starts a new segment,
// as a parser that seeks does. The chain and the graph each hold a reference to every filter.
#pragma once

#include <functional>

#include "ParserGraph.h"
#include "platform/FilterGraph.h"
#include "platform/Source.h"
#include "platform/SourceStream.h"

namespace qvtest {

class PictureStream : public CSourceStream {
public:
    // Writes picture n into `bytes` (room for the buffer size) and returns its length.
    using Fill = std::function<int32_t(int n, uint8_t* bytes, IMediaSample* sample)>;

    PictureStream(CSource* filter, CMediaType type, int32_t bufferBytes, int count,
                  REFERENCE_TIME frame, Fill fill)
        : CSourceStream("picture pin", &hr, filter, L"Out"),
          type(std::move(type)),
          bufferBytes(bufferBytes),
          count(count),
          frame(frame),
          fill(std::move(fill)) {}

    HRESULT GetMediaType(int i, CMediaType* out) override {
        if (i == 0) *out = type;
        return i < 0 ? E_INVALIDARG : i > 0 ? VFW_S_NO_MORE_ITEMS : S_OK;
    }
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* alloc, ALLOCATOR_PROPERTIES* props) override {
        props->cBuffers = 2;
        props->cbBuffer = bufferBytes;
        ALLOCATOR_PROPERTIES actual;
        return alloc->SetProperties(props, &actual);
    }
    HRESULT FillBuffer(IMediaSample* sample) override {
        if (next == count) return S_FALSE;
        if (next == flushAt) {
            DeliverBeginFlush();
            DeliverEndFlush();
            DeliverNewSegment(next * frame, count * frame, 1.0);
        }
        uint8_t* bytes = nullptr;
        sample->GetPointer(&bytes);
        sample->SetActualDataLength(fill(next, bytes, sample));
        REFERENCE_TIME start = next * frame, stop = start + frame;
        sample->SetTime(&start, &stop);
        ++next;
        return S_OK;
    }

    HRESULT hr = S_OK;
    int flushAt = -1;  // set before the run

private:
    const CMediaType type;
    const int32_t bufferBytes;
    const int count;
    const REFERENCE_TIME frame;
    const Fill fill;
    int next = 0;  // streaming thread only
};

template <class Filter, class Sink = RecordingRenderer>
class PictureChain {
public:
    PictureChain(CMediaType type, int32_t bufferBytes, int count, REFERENCE_TIME frame,
                 PictureStream::Fill fill, Filter* filter, Sink* sink)
        : pin(new PictureStream(source, std::move(type), bufferBytes, count, frame,
                                std::move(fill))),
          filter(filter),
          sink(sink) {
        for (CBaseFilter* f : {static_cast<CBaseFilter*>(source), static_cast<CBaseFilter*>(filter),
                               static_cast<CBaseFilter*>(sink)})
            f->NonDelegatingAddRef(), graph.AddFilter(f, L"filter");
        connected = graph.ConnectDirect(pin, filter->GetPin(0), nullptr) == S_OK &&
                    graph.ConnectDirect(filter->GetPin(1), sink->InputPin(), nullptr) == S_OK;
    }
    ~PictureChain() {
        graph.Stop();
        sink->NonDelegatingRelease(), filter->NonDelegatingRelease();
        source->NonDelegatingRelease();
    }
    // Runs to the end of the stream (two minutes at most) and stops; the first failure, if any.
    HRESULT Play() {
        HRESULT hr = graph.Run();
        if (SUCCEEDED(hr)) hr = graph.WaitForCompletion(120000);
        graph.Stop();
        return hr;
    }

    CFilterGraph graph;
    CSource* source = new CSource("picture source", nullptr, GUID_NULL);
    PictureStream* pin;  // owned by the source
    Filter* const filter;
    Sink* const sink;
    bool connected = false;
};

}  // namespace qvtest

// Test filters for graph tests: a source pushing the counters 0..count-1 (offering an audio then
// a video type) and a sink recording them, with end of stream recorded as kEndOfStream and
// reported to the graph as EC_COMPLETE. The sink can stop once at a gate until it is opened or the
// filter stops, like a renderer waiting for its clock, or keep the samples it received.
// CounterGraph connects such a source to a sink in a CFilterGraph.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include "foundation/CUManualResetEvent.h"
#include "platform/BaseInputPin.h"
#include "platform/FilterGraph.h"
#include "platform/MediaEvent.h"
#include "platform/SourceStream.h"

namespace qv_test {

constexpr int kEndOfStream = -1;
constexpr auto kPatience = std::chrono::seconds(30);

class CounterStream : public CSourceStream {
public:
    CounterStream(CSource* filter, int count, int buffers)
        : CSourceStream("counter pin", &hr, filter, L"Out"), count(count), buffers(buffers) {}

    HRESULT GetMediaType(int i, CMediaType* type) override {
        if (i < 0) return E_INVALIDARG;
        if (i > 1) return VFW_S_NO_MORE_ITEMS;
        type->SetType(i == 0 ? &MEDIATYPE_Audio : &MEDIATYPE_Video);
        return S_OK;
    }
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT DecideBufferSize(IMemAllocator* alloc, ALLOCATOR_PROPERTIES* props) override {
        props->cBuffers = buffers;
        props->cbBuffer = sizeof(int);
        ALLOCATOR_PROPERTIES actual;
        return alloc->SetProperties(props, &actual);
    }
    HRESULT FillBuffer(IMediaSample* sample) override {
        if (next == count) return S_FALSE;
        if (next == failAt) return E_FAIL;
        uint8_t* bytes = nullptr;
        sample->GetPointer(&bytes);
        std::memcpy(bytes, &next, sizeof next);
        sample->SetActualDataLength(sizeof next);
        if (step) {
            REFERENCE_TIME start = first + next * step, stop = start + step;
            sample->SetTime(&start, &stop);
        }
        sample->SetPreroll(next < prerolled);
        ++next;
        return S_OK;
    }
    HRESULT Notify(IBaseFilter*, Quality q) override {
        std::lock_guard<std::mutex> guard(lock);
        quality.push_back(q);
        return S_OK;
    }
    std::vector<Quality> Messages() {
        std::lock_guard<std::mutex> guard(lock);
        return quality;
    }

    HRESULT hr = S_OK;
    int failAt = -1;  // set before the run: FillBuffer fails at this counter
    // Set before the run: with a step, sample n runs from first + n * step for one step.
    REFERENCE_TIME first = 0, step = 0;
    int prerolled = 0;  // set before the run: so many first samples are preroll

private:
    const int count;
    const int buffers;
    int next = 0;  // worker only
    std::mutex lock;
    std::vector<Quality> quality;  // guarded by `lock`
};

class CounterSource : public CSource {
public:
    CounterSource(int count, int buffers) : CSource("counter source", nullptr, GUID_NULL) {
        pin = new CounterStream(this, count, buffers);
    }
    CounterStream* pin;  // owned by the filter
};

class RecordingPin : public CBaseInputPin {
public:
    RecordingPin(CBaseFilter* filter, CURecursiveLock* lock)
        : CBaseInputPin("recording pin", filter, lock, &hr, L"In") {}

    ~RecordingPin() override {
        for (IMediaSample* sample : held) sample->Release();
    }

    HRESULT CheckMediaType(const CMediaType* type) override {
        return type->majortype == accepted ? S_OK : S_FALSE;
    }
    // A stopping filter lets a Receive waiting at the gate go on, as a renderer stops waiting
    // for its clock.
    HRESULT Active() override {
        gateOpen.Reset();
        return CBaseInputPin::Active();
    }
    HRESULT Inactive() override {
        gateOpen.Set();
        return CBaseInputPin::Inactive();
    }
    HRESULT Receive(IMediaSample* sample) override {
        if (calls++ == gateAt) {
            gateReached.Set();
            gateOpen.Wait();
        }
        const HRESULT result = CBaseInputPin::Receive(sample);
        std::lock_guard<std::mutex> guard(lock);
        if (result != S_OK) return ++refusals, result;
        uint8_t* bytes = nullptr;
        sample->GetPointer(&bytes);
        int value = 0;
        std::memcpy(&value, bytes, sizeof value);
        events.push_back(value);
        if (hold) sample->AddRef(), held.push_back(sample);
        changed.notify_all();
        return S_OK;
    }
    HRESULT EndOfStream() override {
        {
            std::lock_guard<std::mutex> guard(lock);
            events.push_back(kEndOfStream);
            changed.notify_all();
        }
        return m_pFilter->NotifyEvent(EC_COMPLETE, S_OK, 0);
    }
    bool WaitForEvents(size_t n) {
        std::unique_lock<std::mutex> guard(lock);
        return changed.wait_for(guard, kPatience, [&] { return events.size() >= n; });
    }
    std::vector<int> Events() {
        std::lock_guard<std::mutex> guard(lock);
        return events;
    }
    int Refusals() {
        std::lock_guard<std::mutex> guard(lock);
        return refusals;
    }

    HRESULT hr = S_OK;
    GUID accepted = MEDIATYPE_Video;
    bool hold = false;  // set before the run: keep every received sample
    int gateAt = -1;    // set before the run: this Receive waits for gateOpen (or a stop)
    CUManualResetEvent gateReached, gateOpen;

private:
    int calls = 0;  // worker only
    std::mutex lock;
    std::condition_variable changed;  // with `lock`
    std::vector<int> events;          // guarded by `lock`
    std::vector<IMediaSample*> held;  // guarded by `lock`
    int refusals = 0;                 // guarded by `lock`
};

class RecordingSink : public CBaseFilter {
public:
    RecordingSink() : CBaseFilter("recording sink", nullptr, &stateLock, GUID_NULL) {
        pin = new RecordingPin(this, &stateLock);
    }
    ~RecordingSink() override { delete pin; }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? pin : nullptr; }

    CURecursiveLock stateLock;
    RecordingPin* pin;  // owned
};

// A counter source connected to `sink` in a graph, which stops, disconnects and releases them
// when it goes; the fixture keeps references of its own, so that the filters outlive a graph that a
// test deletes. Tests drive the graph or the filters directly.
template <class Sink>
struct CounterGraph {
    CounterGraph(int count, int buffers, Sink* sink = new Sink)
        : source(new CounterSource(count, buffers)), sink(sink) {
        source->AddRef(), sink->AddRef();
        EXPECT_EQ(graph->AddFilter(source, L"source"), S_OK);
        EXPECT_EQ(graph->AddFilter(sink, L"sink"), S_OK);
        EXPECT_EQ(graph->ConnectDirect(source->pin, sink->GetPin(0), nullptr), S_OK);
    }
    ~CounterGraph() {
        delete graph;
        source->Release(), sink->Release();
    }
    // The next event's code, or 0 when none comes within `ms`.
    long NextEvent(long ms) {
        long code = 0;
        LONG_PTR p1 = 0, p2 = 0;
        return graph->GetEvent(&code, &p1, &p2, ms) == S_OK ? code : 0;
    }
    std::vector<long> EventCodes() {  // of the events waiting
        std::vector<long> codes;
        for (long code; (code = NextEvent(0)) != 0;) codes.push_back(code);
        return codes;
    }

    CFilterGraph* graph = new CFilterGraph;
    CounterSource* source;
    Sink* sink;
};

inline std::vector<int> Counting(int from, int to) {
    std::vector<int> values;
    for (int i = from; i < to; ++i) values.push_back(i);
    return values;
}

}  // namespace qv_test

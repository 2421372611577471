// CFilterGraph: the host's side of a graph: it holds the filters, connects their pins, runs,
// pauses and stops them together, keeps the stream time and collects their events.
//
// This is our runtime, not a clone: it does only what the host and the filters need.
// - AddFilter takes a reference on the filter and gives it the graph's event sink
//   (JoinFilterGraph); RemoveFilter (stopped only) disconnects the filter's pins on both sides,
//   takes it out of the graph and releases it. Names are for the host; they need not be unique.
// - ConnectDirect asks the output pin to connect to the input pin (the output proposes the types
//   and settles the allocator with DecideBufferSize); both must be unconnected and the graph
//   stopped. Disconnect breaks both sides of a pin's connection.
// - The graph makes one CSystemClock and sets it on every filter (SetSyncSource) whenever it
//   pauses from stopped, so a filter added late gets it too.
// - Order: filters are ranked by their connections, renderers (filters whose pins are all
//   inputs) first, then the filters feeding them, sources last. Pause and Run go downstream
//   first, so that a source never delivers into a filter that is not yet paused or running.
//   Stop goes downstream first too: a stopped input pin refuses samples and a stopping renderer
//   releases a Receive that waits, so the upstream worker's delivery returns and its loop ends;
//   then stopping the source joins a worker that is no longer inside a downstream Receive.
//   Stopping the source first would join a worker that may be blocked in that Receive forever.
// - Run from stopped pauses first, then runs every filter with the start time = clock time now
//   + kStartOffset. Run after Pause keeps the stream time: the paused interval is added to the
//   start time. Stop resets the stream time to 0 and the completion count.
// - Events: filters notify the graph's sink; every event is queued for GetEvent in arrival order.
//   The sink also counts EC_COMPLETE and remembers the first EC_ERRORABORT since the last run from
//   stopped, which WaitForCompletion waits on without taking events out of the queue.
// - The destructor stops the graph (every worker thread has ended when Stop returns), takes the
//   clock and the event sink back from every filter, breaks every connection of their pins (a
//   pin references its peer's filter) and releases the filters, the queue and the clock.
// Threads: the control calls (AddFilter, RemoveFilter, ConnectDirect, Disconnect, Pause, Run, Stop,
// GetState, StreamTime) may come from any thread and are serialised by `lock`; filters notify
// events from their streaming threads, which take only `eventLock` (never `lock`), so a Stop that
// joins a worker cannot deadlock with that worker's Notify. GetEvent and WaitForCompletion may be
// called from any thread; WaitForCompletion takes `lock` only to count the renderers.
// Ownership: the graph references each filter it holds and the clock; the host owns the graph.
// Failures: E_POINTER for null filters, pins and out pointers; E_INVALIDARG for a filter added
// twice, a pin or filter not in the graph, or pins of the wrong direction; VFW_E_ALREADY_CONNECTED
// when a pin of ConnectDirect is connected; VFW_E_NOT_CONNECTED from Disconnect of an unconnected
// pin; VFW_E_WRONG_STATE for connection changes and RemoveFilter while not stopped and for
// WaitForCompletion while stopped; E_ABORT when a wait passes its time limit; otherwise the first
// failure a filter or pin returned (every filter is still called on Stop).
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "platform/BaseFilter.h"
#include "platform/BasePin.h"
#include "platform/MediaEvent.h"
#include "platform/ReferenceClock.h"

class CFilterGraph {
public:
    // Added to the clock time when running from stopped, so that every filter is running before
    // the first sample is due.
    static constexpr REFERENCE_TIME kStartOffset = 10 * 10000;  // 10 ms

    CFilterGraph();
    ~CFilterGraph();
    CFilterGraph(const CFilterGraph&) = delete;
    CFilterGraph& operator=(const CFilterGraph&) = delete;

    HRESULT AddFilter(CBaseFilter* filter, const wchar_t* name);
    HRESULT RemoveFilter(CBaseFilter* filter);
    // `mediaType` null: any type the pins agree on.
    HRESULT ConnectDirect(IPin* outputPin, IPin* inputPin, const AM_MEDIA_TYPE* mediaType);
    HRESULT Disconnect(IPin* pin);

    HRESULT Pause();
    HRESULT Run();
    HRESULT Stop();
    HRESULT GetState(FILTER_STATE* state);
    // Running: clock time minus the start time; paused: the stream time when it paused;
    // stopped: 0.
    HRESULT StreamTime(REFERENCE_TIME* time);
    IReferenceClock* Clock() const { return clock; }  // not referenced; lives as long as the graph

    // The oldest event; `timeoutMs` as CMediaEventQueue::GetEvent.
    HRESULT GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2, long timeoutMs);
    // S_OK once every renderer has reported EC_COMPLETE since the last run from stopped; the
    // HRESULT of an EC_ERRORABORT (E_FAIL if that carried none) once one arrives; E_ABORT after
    // `timeoutMs` (negative: no limit).
    HRESULT WaitForCompletion(long timeoutMs);

private:
    class Sink final : public IMediaEventSink {
    public:
        explicit Sink(CFilterGraph& graph) : graph(graph) {}
        HRESULT QueryInterface(REFIID riid, void** ppv) override;
        uint32_t AddRef() override { return 1; }   // lives as long as the graph
        uint32_t Release() override { return 1; }  // lives as long as the graph
        HRESULT Notify(long eventCode, LONG_PTR param1, LONG_PTR param2) override;

    private:
        CFilterGraph& graph;
    };
    struct Entry {
        CBaseFilter* filter;  // referenced
        std::wstring name;
    };

    // Filters downstream first (renderers first, sources last). Under `lock`.
    std::vector<CBaseFilter*> DownstreamFirst();
    CBaseFilter* OwnerOf(IPin* pin);  // under `lock`; null when not in the graph
    HRESULT PauseLocked();
    HRESULT StopLocked();

    std::mutex lock;
    std::vector<Entry> filters;          // guarded by `lock`
    FILTER_STATE state = State_Stopped;  // guarded by `lock`
    REFERENCE_TIME startTime = 0;        // guarded by `lock`; valid while running
    REFERENCE_TIME pausedAt = 0;         // guarded by `lock`; clock time of the last Pause
    bool started = false;                // guarded by `lock`; ran since the last stop
    CSystemClock* const clock;           // referenced; set once
    CMediaEventQueue* const queue;       // referenced; set once
    Sink sink{*this};

    std::mutex eventLock;
    std::condition_variable eventChanged;  // with `eventLock`
    int completes = 0;                     // guarded by `eventLock`
    HRESULT abortResult = S_OK;            // guarded by `eventLock`; S_OK: no EC_ERRORABORT
    bool aborted = false;                  // guarded by `eventLock`
};

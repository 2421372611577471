// A source pin pushing timed counters into a renderer on the system clock: order and timing, late
// samples with quality messages upstream, end of stream, pause holding the first sample, flush
// and stop releasing a waiting sample, preroll and untimed samples.
#include <gtest/gtest.h>

#include <climits>

#include "platform/BaseRenderer.h"
#include "support/TestFilters.h"

using namespace qv_test;

namespace {

constexpr REFERENCE_TIME kMs = 10000;  // one millisecond in 100 ns units
constexpr REFERENCE_TIME kHour = 3600LL * 1000 * kMs;

struct Rendered {
    int value;
    REFERENCE_TIME start;  // the sample's
    REFERENCE_TIME at;     // stream time when rendered
};

class TestRenderer : public CBaseRenderer {
public:
    TestRenderer() : CBaseRenderer(GUID_NULL, "test renderer", nullptr, &hr) {}

    HRESULT CheckMediaType(const CMediaType* type) override {
        return type->majortype == MEDIATYPE_Video ? S_OK : S_FALSE;
    }
    HRESULT DoRenderSample(IMediaSample* sample) override {
        Rendered r{Value(sample), 0, 0};
        REFERENCE_TIME stop = 0;
        if (FAILED(sample->GetTime(&r.start, &stop))) r.start = -1;
        StreamTime(&r.at);
        std::lock_guard<std::mutex> guard(lock);
        rendered.push_back(r);
        changed.notify_all();
        return S_OK;
    }
    void OnReceiveFirstSample(IMediaSample* sample) override {
        std::lock_guard<std::mutex> guard(lock);
        firstSamples.push_back(Value(sample));
        firstSample.Set();
    }
    void OnWaitStart(REFERENCE_TIME) override { waiting.Set(); }
    HRESULT EndOfStream() override {
        const HRESULT hr = CBaseRenderer::EndOfStream();
        endOfStream.Set();
        return hr;
    }

    static int Value(IMediaSample* sample) {
        uint8_t* bytes = nullptr;
        int value = 0;
        return sample->GetPointer(&bytes), std::memcpy(&value, bytes, sizeof value), value;
    }
    bool WaitForRendered(size_t n) {
        std::unique_lock<std::mutex> guard(lock);
        return changed.wait_for(guard, kPatience, [&] { return rendered.size() >= n; });
    }
    std::vector<Rendered> Renders() {
        std::lock_guard<std::mutex> guard(lock);
        return rendered;
    }
    std::vector<int> Values() {  // of the rendered samples
        std::vector<int> values;
        for (const Rendered& r : Renders()) values.push_back(r.value);
        return values;
    }
    std::vector<int> FirstSamples() {
        std::lock_guard<std::mutex> guard(lock);
        return firstSamples;
    }

    HRESULT hr = S_OK;
    CUManualResetEvent firstSample, waiting, endOfStream;
    std::mutex lock;
    std::condition_variable changed;  // with `lock`
    std::vector<Rendered> rendered;   // guarded by `lock`
    std::vector<int> firstSamples;    // guarded by `lock`
};

// A connected source and renderer in a graph, which sets its clock on both when it pauses; the
// tests run the filters themselves, at a start time of their choice.
struct Graph : CounterGraph<TestRenderer> {
    Graph(int count, REFERENCE_TIME first, REFERENCE_TIME step) : CounterGraph(count, 2) {
        out()->first = first, out()->step = step;
    }
    CounterStream* out() { return source->pin; }
    void Pause() { ASSERT_EQ(graph->Pause(), S_OK); }
    // Runs with stream time 0 at `offset` from now.
    void Run(REFERENCE_TIME offset) {
        const REFERENCE_TIME start = CSystemClock::Now() + offset;
        ASSERT_EQ(sink->Run(start), S_OK);
        ASSERT_EQ(source->Run(start), S_OK);
    }
};

TEST(BaseRendererTest, RendersInOrderNoEarlierThanTheirTimeThenCompletesOnce) {
    Graph graph(5, 20 * kMs, 10 * kMs);
    graph.Pause();
    graph.Run(200 * kMs);  // the held first sample waits for its time
    EXPECT_EQ(graph.NextEvent(30000), EC_COMPLETE);
    EXPECT_EQ(graph.sink->Values(), Counting(0, 5));  // all rendered before EC_COMPLETE
    for (const Rendered& r : graph.sink->Renders()) EXPECT_GE(r.at, r.start);
    // Each sample tells upstream once: early when it waited for its time, late when it arrived
    // after it (a busy machine can stall the source for longer than a step).
    const std::vector<Quality> messages = graph.out()->Messages();
    ASSERT_EQ(messages.size(), 5u);
    EXPECT_EQ(messages[0].Type, Famine);
    for (const Quality& q : messages) EXPECT_EQ(q.Type, q.Late < 0 ? Famine : Flood);
    EXPECT_EQ(graph.NextEvent(0), 0);  // once
}

TEST(BaseRendererTest, LateSamplesRenderAtOnceAndTellUpstream) {
    // Stream time 0 was an hour ago: every sample is late by about that much.
    Graph graph(3, 0, 10 * kMs);
    graph.Pause();
    graph.Run(-kHour);
    EXPECT_EQ(graph.NextEvent(30000), EC_COMPLETE);
    EXPECT_EQ(graph.sink->Values(), Counting(0, 3));
    const std::vector<Quality> messages = graph.out()->Messages();
    ASSERT_EQ(messages.size(), 3u);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(messages[i].Type, Flood);
        EXPECT_EQ(messages[i].TimeStamp, i * 10 * kMs);
        EXPECT_GE(messages[i].Late, kHour - i * 10 * kMs);
        EXPECT_LT(messages[i].Late, kHour + 60 * 1000 * kMs);
        EXPECT_GE(messages[i].Proportion, 0);
        EXPECT_LT(messages[i].Proportion, 1000);
    }
}

TEST(BaseRendererTest, PauseHoldsTheFirstSampleUntilRun) {
    Graph graph(3, 0, kMs);
    graph.out()->prerolled = 1;  // sample 0 is preroll: accepted, never rendered nor held
    graph.Pause();
    ASSERT_TRUE(graph.sink->firstSample.Wait());
    EXPECT_EQ(graph.sink->FirstSamples(), std::vector<int>{1});
    EXPECT_TRUE(graph.sink->Renders().empty());
    EXPECT_EQ(graph.NextEvent(0), 0);
    graph.Run(0);
    EXPECT_EQ(graph.NextEvent(30000), EC_COMPLETE);
    EXPECT_EQ(graph.sink->Values(), (std::vector<int>{1, 2}));
    EXPECT_EQ(graph.sink->FirstSamples(), std::vector<int>{1});
}

TEST(BaseRendererTest, EndOfStreamWhilePausedCompletesAtRunAndOnlyOnce) {
    Graph graph(1, 0, kMs);
    graph.out()->prerolled = 1;  // nothing to render: the end of the stream comes while paused
    graph.Pause();
    ASSERT_TRUE(graph.sink->endOfStream.Wait());
    EXPECT_EQ(graph.NextEvent(0), 0);
    graph.Run(0);
    EXPECT_EQ(graph.NextEvent(0), EC_COMPLETE);  // sent by Run itself
    ASSERT_EQ(graph.sink->Pause(), S_OK);
    graph.Run(0);
    EXPECT_EQ(graph.NextEvent(0), 0);
    EXPECT_TRUE(graph.sink->Renders().empty());
}

TEST(BaseRendererTest, FlushOrStopReleasesASampleWaitingOnTheClock) {
    for (const bool flush : {true, false}) {
        Graph graph(2, kHour, kMs);
        graph.Pause();
        graph.Run(0);
        ASSERT_TRUE(graph.sink->waiting.Wait());
        if (flush) {
            ASSERT_EQ(graph.out()->DeliverBeginFlush(), S_OK);  // Receive answers S_FALSE
            ASSERT_EQ(graph.out()->StopWorker(), S_OK);         // so the worker is free to stop
            ASSERT_EQ(graph.out()->DeliverEndFlush(), S_OK);
        } else {
            ASSERT_EQ(graph.sink->Stop(), S_OK);    // releases the wait on the clock
            ASSERT_EQ(graph.source->Stop(), S_OK);  // joins the worker
        }
        EXPECT_TRUE(graph.sink->Renders().empty()) << flush;
        EXPECT_EQ(graph.NextEvent(0), 0) << flush;
    }
}

TEST(BaseRendererTest, FlushDiscardsTheHeldSample) {
    Graph graph(INT_MAX, kHour, kMs);
    graph.Pause();
    ASSERT_TRUE(graph.sink->firstSample.Wait());
    ASSERT_EQ(graph.out()->DeliverBeginFlush(), S_OK);
    ASSERT_EQ(graph.out()->StopWorker(), S_OK);
    ASSERT_EQ(graph.out()->DeliverEndFlush(), S_OK);
    graph.sink->firstSample.Reset();
    ASSERT_EQ(graph.out()->PauseWorker(), S_OK);
    ASSERT_TRUE(graph.sink->firstSample.Wait());  // the next sample is held
    EXPECT_EQ(graph.sink->FirstSamples(), (std::vector<int>{0, 1}));
    graph.Run(-2 * kHour);  // every sample is due
    ASSERT_TRUE(graph.sink->WaitForRendered(2));
    EXPECT_EQ(graph.sink->Values()[0], 1);
}

TEST(BaseRendererTest, PauseSendsAWaitingSampleBackAndRunReschedulesIt) {
    Graph graph(1, kHour, kMs);
    graph.Pause();
    graph.Run(0);
    ASSERT_TRUE(graph.sink->waiting.Wait());
    ASSERT_EQ(graph.sink->Pause(), S_OK);
    ASSERT_EQ(graph.sink->Run(CSystemClock::Now() - kHour), S_OK);  // the sample is due now
    EXPECT_EQ(graph.NextEvent(30000), EC_COMPLETE);
    const std::vector<Rendered> rendered = graph.sink->Renders();
    ASSERT_EQ(rendered.size(), 1u);
    EXPECT_GE(rendered[0].at, kHour);
}

TEST(BaseRendererTest, UntimedSamplesRenderAtOnce) {
    Graph graph(3, 0, 0);  // no step: no times
    graph.Pause();
    graph.Run(1000LL * 1000 * kMs);  // stream time 0 far ahead: timed samples would wait
    EXPECT_EQ(graph.NextEvent(30000), EC_COMPLETE);
    EXPECT_EQ(graph.sink->Values(), Counting(0, 3));
    for (const Rendered& r : graph.sink->Renders()) EXPECT_EQ(r.start, -1);
}

}  // namespace

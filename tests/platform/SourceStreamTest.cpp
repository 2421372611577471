// A source pin pushing counters into a recording sink: order, end of stream, stop, flush, a full
// pool; and connection refusals.
#include <gtest/gtest.h>

#include <climits>

#include "support/TestFilters.h"

using namespace qv_test;

namespace {

// A connected source and sink, both stopped, disconnected and released at the end.
struct Graph {
    Graph(int count, int buffers)
        : source(new CounterSource(count, buffers)), sink(new RecordingSink) {
        source->AddRef();
        sink->AddRef();
    }
    ~Graph() {
        source->Stop();
        sink->Stop();
        sink->pin->ReleaseHeld();
        out()->Disconnect();
        in()->Disconnect();
        source->Release();
        sink->Release();
    }
    CounterStream* out() { return source->pin; }
    RecordingPin* in() { return sink->pin; }
    void Start() {
        ASSERT_EQ(out()->Connect(in(), nullptr), S_OK);
        ASSERT_EQ(sink->Pause(), S_OK);
        ASSERT_EQ(source->Pause(), S_OK);
        ASSERT_EQ(sink->Run(0), S_OK);
        ASSERT_EQ(source->Run(0), S_OK);
    }
    CounterSource* source;
    RecordingSink* sink;
};

TEST(SourceStreamTest, DeliversEverySampleOnceInOrderThenEndOfStream) {
    Graph graph(20, 2);
    graph.Start();
    ASSERT_TRUE(graph.in()->WaitForEvents(21));
    std::vector<int> expected = Counting(0, 20);
    expected.push_back(kEndOfStream);
    EXPECT_EQ(graph.in()->Events(), expected);

    Quality late;
    late.Late = 12345;
    EXPECT_EQ(graph.in()->PassNotify(late), S_OK);
    ASSERT_EQ(graph.out()->Messages().size(), 1u);
    EXPECT_EQ(graph.out()->Messages()[0].Late, 12345);
}

// Also with the worker waiting in GetDeliveryBuffer, the sink keeping the whole pool.
TEST(SourceStreamTest, StopJoinsTheWorkerAndNoSampleFollows) {
    for (const bool full : {false, true}) {
        Graph graph(INT_MAX, full ? 2 : 3);
        graph.in()->hold = full;
        graph.Start();
        ASSERT_TRUE(graph.in()->WaitForEvents(full ? 2 : 5));
        ASSERT_EQ(graph.source->Stop(), S_OK);
        EXPECT_FALSE(graph.out()->ThreadExists());
        const std::vector<int> seen = graph.in()->Events();  // in order, no end of stream
        EXPECT_EQ(seen, Counting(0, full ? 2 : static_cast<int>(seen.size())));
        if (full) continue;

        // A new run goes on from the next counter: nothing was lost or sent twice across the stop.
        ASSERT_EQ(graph.source->Run(0), S_OK);
        ASSERT_TRUE(graph.in()->WaitForEvents(seen.size() + 3));
        ASSERT_EQ(graph.source->Stop(), S_OK);
        const std::vector<int> all = graph.in()->Events();
        EXPECT_EQ(all, Counting(0, static_cast<int>(all.size())));
    }
}

TEST(SourceStreamTest, FailedFillEndsTheStreamAndAbortsTheGraph) {
    CMediaEventQueue queue;
    Graph graph(INT_MAX, 2);
    graph.out()->failAt = 3;
    ASSERT_EQ(graph.source->JoinFilterGraph(&queue), S_OK);
    graph.Start();
    ASSERT_TRUE(graph.in()->WaitForEvents(4));
    EXPECT_EQ(graph.in()->Events(), (std::vector<int>{0, 1, 2, kEndOfStream}));
    long code = 0;
    LONG_PTR param1 = 0, param2 = 0;
    ASSERT_EQ(queue.GetEvent(&code, &param1, &param2, 30000), S_OK);
    EXPECT_EQ(code, EC_ERRORABORT);
    EXPECT_EQ(param1, E_FAIL);
    graph.source->JoinFilterGraph(nullptr);
}

TEST(SourceStreamTest, FlushInTheMiddleRefusesThenTheStreamGoesOn) {
    Graph graph(8, 2);
    graph.in()->gateAt = 3;
    graph.Start();
    graph.in()->gateReached.Wait();
    ASSERT_EQ(graph.out()->DeliverBeginFlush(), S_OK);
    EXPECT_TRUE(graph.in()->IsFlushing());
    graph.in()->gateOpen.Set();  // sample 3 arrives while flushing and is refused
    ASSERT_EQ(graph.out()->StopWorker(), S_OK);
    ASSERT_EQ(graph.out()->DeliverEndFlush(), S_OK);
    EXPECT_FALSE(graph.in()->IsFlushing());
    ASSERT_EQ(graph.out()->DeliverNewSegment(10, 100, 1.0), S_OK);
    EXPECT_EQ(graph.in()->CurrentStartTime(), 10);
    EXPECT_EQ(graph.in()->CurrentStopTime(), 100);
    ASSERT_EQ(graph.out()->PauseWorker(), S_OK);

    ASSERT_TRUE(graph.in()->WaitForEvents(8));
    EXPECT_EQ(graph.in()->Events(), (std::vector<int>{0, 1, 2, 4, 5, 6, 7, kEndOfStream}));
    EXPECT_EQ(graph.in()->Refusals(), 1);
}

TEST(SourceStreamTest, ConnectionRefusals) {
    Graph graph(1, 1);
    graph.in()->accepted = FORMAT_VideoInfo2;  // no proposed type has it
    EXPECT_EQ(graph.out()->Connect(graph.in(), nullptr), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_FALSE(graph.out()->IsConnected());
    EXPECT_FALSE(graph.in()->IsConnected());

    graph.in()->accepted = MEDIATYPE_Video;  // the second type proposed
    ASSERT_EQ(graph.out()->Connect(graph.in(), nullptr), S_OK);
    AM_MEDIA_TYPE type;
    ASSERT_EQ(graph.in()->ConnectionMediaType(&type), S_OK);
    EXPECT_EQ(type.majortype, MEDIATYPE_Video);
    FreeMediaType(type);
    EXPECT_EQ(graph.out()->Connect(graph.in(), nullptr), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(graph.in()->ReceiveConnection(graph.out(), &graph.out()->CurrentMediaType()),
              VFW_E_ALREADY_CONNECTED);

    IPin* found = nullptr;
    ASSERT_EQ(graph.source->FindPin(L"Out", &found), S_OK);
    EXPECT_EQ(found, static_cast<IPin*>(graph.out()));
    found->Release();
    EXPECT_EQ(graph.source->FindPin(L"None", &found), E_FAIL);
}

}  // namespace

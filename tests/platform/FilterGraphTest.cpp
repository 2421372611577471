// The host's graph over a counter source and a recording sink: connection through the graph (with
// the pins' refusals), a failed source, pause and run again, stop, destruction while running. A
// run to completion is every parser playback test's (the same graph with the real filters).
#include <gtest/gtest.h>

#include <climits>
#include <utility>

#include "platform/FilterGraph.h"
#include "support/TestFilters.h"

using namespace qv_test;

namespace {

using Fixture = CounterGraph<RecordingSink>;

REFERENCE_TIME StreamTime(Fixture& f) {
    REFERENCE_TIME t = -1;
    EXPECT_EQ(f.graph->StreamTime(&t), S_OK);
    return t;
}

TEST(FilterGraphTest, AFailedSourceEndsTheWaitWithItsError) {
    // A second renderer that never completes: only the abort can end the wait (the failing
    // source also ends its stream, so the connected sink does complete). Delivery stops at the
    // failed fill.
    Fixture f(INT_MAX, 2);
    RecordingSink* idle = new RecordingSink;
    idle->AddRef();
    ASSERT_EQ(f.graph->AddFilter(idle, L"idle sink"), S_OK);
    f.source->pin->failAt = 4;
    ASSERT_EQ(f.graph->Run(), S_OK);
    EXPECT_EQ(f.graph->WaitForCompletion(30000), E_FAIL);
    // The abort is queued before the end of the stream completes, so that the host sees why.
    ASSERT_TRUE(f.sink->pin->WaitForEvents(5));
    EXPECT_EQ(f.sink->pin->Events(), (std::vector<int>{0, 1, 2, 3, kEndOfStream}));
    EXPECT_EQ(f.NextEvent(30000), EC_ERRORABORT);
    EXPECT_EQ(f.NextEvent(30000), EC_COMPLETE);
    ASSERT_EQ(f.graph->Stop(), S_OK);

    // A new run from stopped forgets the old abort.
    f.source->pin->failAt = -1;
    ASSERT_EQ(f.graph->Run(), S_OK);
    EXPECT_EQ(f.graph->WaitForCompletion(0), E_ABORT);
    ASSERT_EQ(f.graph->Stop(), S_OK);
    idle->Release();
}

TEST(FilterGraphTest, PauseKeepsTheStreamTimeAndStopEndsTheWorker) {
    Fixture f(INT_MAX, 3);
    ASSERT_EQ(f.graph->Pause(), S_OK);
    IReferenceClock* clock = nullptr;
    ASSERT_EQ(f.source->GetSyncSource(&clock), S_OK);
    EXPECT_EQ(clock, f.graph->Clock());
    clock->Release();
    EXPECT_EQ(StreamTime(f), 0);

    ASSERT_EQ(f.graph->Run(), S_OK);
    FILTER_STATE state = State_Stopped;
    ASSERT_EQ(f.graph->GetState(&state), S_OK);
    EXPECT_EQ(state, State_Running);
    ASSERT_TRUE(f.sink->pin->WaitForEvents(5));
    ASSERT_EQ(f.graph->Pause(), S_OK);
    const REFERENCE_TIME paused = StreamTime(f);
    EXPECT_EQ(StreamTime(f), paused);  // the stream time stands still while paused

    // Running again goes on from the paused stream time, not from the clock's time.
    ASSERT_EQ(f.graph->Run(), S_OK);
    const REFERENCE_TIME resumed = StreamTime(f);
    EXPECT_GE(resumed, paused);
    EXPECT_LT(resumed, paused + 10 * 1000 * 10000);  // far less than the time a test may take
    const size_t seen = f.sink->pin->Events().size();
    ASSERT_TRUE(f.sink->pin->WaitForEvents(seen + 3));

    ASSERT_EQ(f.graph->Stop(), S_OK);
    EXPECT_EQ(f.graph->WaitForCompletion(0), VFW_E_WRONG_STATE);
    EXPECT_FALSE(f.source->pin->ThreadExists());
    EXPECT_TRUE(f.source->IsStopped());
    EXPECT_TRUE(f.sink->IsStopped());
    EXPECT_EQ(StreamTime(f), 0);
    const std::vector<int> all = f.sink->pin->Events();
    EXPECT_EQ(all, Counting(0, static_cast<int>(all.size())));
}

TEST(FilterGraphTest, StopOrDestructionReleasesAWorkerHeldInsideTheSinksReceive) {
    for (const bool destroy : {false, true}) {
        Fixture f(INT_MAX, 2);
        f.sink->pin->gateAt = 0;
        ASSERT_EQ(f.graph->Run(), S_OK);
        f.sink->pin->gateReached.Wait();  // the worker is inside Receive until the sink stops
        if (destroy) {
            delete std::exchange(f.graph, nullptr);
            EXPECT_FALSE(f.source->pin->IsConnected());  // and the graph disconnected both
            EXPECT_FALSE(f.sink->pin->IsConnected());
        } else {
            ASSERT_EQ(f.graph->Stop(), S_OK);
        }
        EXPECT_FALSE(f.source->pin->ThreadExists()) << destroy;
        EXPECT_TRUE(f.source->IsStopped()) << destroy;
    }
}

TEST(FilterGraphTest, RefusesASecondConnectionAndDisconnectsBothSides) {
    Fixture f(10, 2);
    RecordingSink* other = new RecordingSink;
    other->AddRef();
    ASSERT_EQ(f.graph->AddFilter(other, L"other sink"), S_OK);
    EXPECT_EQ(f.graph->AddFilter(other, L"again"), E_INVALIDARG);
    EXPECT_EQ(f.graph->ConnectDirect(f.source->pin, other->pin, nullptr), VFW_E_ALREADY_CONNECTED);
    EXPECT_FALSE(other->pin->IsConnected());
    EXPECT_EQ(f.graph->ConnectDirect(other->pin, f.source->pin, nullptr), E_INVALIDARG);

    ASSERT_EQ(f.graph->Disconnect(f.sink->pin), S_OK);
    EXPECT_FALSE(f.source->pin->IsConnected());
    EXPECT_FALSE(f.sink->pin->IsConnected());
    EXPECT_EQ(f.graph->Disconnect(f.sink->pin), VFW_E_NOT_CONNECTED);
    f.sink->pin->accepted = FORMAT_VideoInfo2;  // no type the source proposes
    EXPECT_EQ(f.graph->ConnectDirect(f.source->pin, f.sink->pin, nullptr), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_FALSE(f.source->pin->IsConnected());
    EXPECT_FALSE(f.sink->pin->IsConnected());
    ASSERT_EQ(f.graph->ConnectDirect(f.source->pin, other->pin, nullptr), S_OK);
    EXPECT_EQ(other->pin->CurrentMediaType().majortype, MEDIATYPE_Video);  // the second proposed
    EXPECT_EQ(other->pin->ReceiveConnection(f.source->pin, &other->pin->CurrentMediaType()),
              VFW_E_ALREADY_CONNECTED);

    ASSERT_EQ(f.graph->Run(), S_OK);
    EXPECT_EQ(f.graph->ConnectDirect(f.source->pin, f.sink->pin, nullptr), VFW_E_WRONG_STATE);
    // Two renderers now: the unconnected sink never completes, so the wait runs out.
    EXPECT_EQ(f.graph->WaitForCompletion(50), E_ABORT);
    ASSERT_EQ(f.graph->Stop(), S_OK);
    other->Release();
}

}  // namespace

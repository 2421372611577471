// A source pin pushing counters into a recording sink: stop with and without a full pool, and a
// run after the stop. Delivery in order to the end of the stream is every parser playback test's
// (the parser's pins are source streams); a failed fill and connection refusals are the graph
// test's; a flush in the middle of the stream is the transform test's.
#include <gtest/gtest.h>

#include <climits>

#include "support/TestFilters.h"

using namespace qv_test;

namespace {

using Graph = CounterGraph<RecordingSink>;

// Also with the worker waiting in GetDeliveryBuffer, the sink keeping the whole pool.
TEST(SourceStreamTest, StopJoinsTheWorkerAndNoSampleFollows) {
    for (const bool full : {false, true}) {
        Graph graph(INT_MAX, full ? 2 : 3);
        RecordingPin* in = graph.sink->pin;
        in->hold = full;
        ASSERT_EQ(graph.graph->Run(), S_OK);
        ASSERT_TRUE(in->WaitForEvents(full ? 2 : 5));
        ASSERT_EQ(graph.source->Stop(), S_OK);
        EXPECT_FALSE(graph.source->pin->ThreadExists());
        const std::vector<int> seen = in->Events();  // in order, no end of stream
        EXPECT_EQ(seen, Counting(0, full ? 2 : static_cast<int>(seen.size())));
        if (full) continue;

        // A new run goes on from the next counter: nothing was lost or sent twice across the stop.
        ASSERT_EQ(graph.source->Run(0), S_OK);
        ASSERT_TRUE(in->WaitForEvents(seen.size() + 3));
        ASSERT_EQ(graph.source->Stop(), S_OK);
        const std::vector<int> all = in->Events();
        EXPECT_EQ(all, Counting(0, static_cast<int>(all.size())));
    }
}

}  // namespace

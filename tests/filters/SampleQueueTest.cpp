// The sample queue (wake-ups, draining with its markers) and the delivery thread in front of a
// logging input pin: order, flush, destruction with work left.
#include <gtest/gtest.h>

#include <thread>

#include "filters/DeliverThread.h"
#include "platform/support/LoggingSink.h"

using namespace qv_test;

namespace {

// Queues a sample and drops the caller's reference: the queue holds the only one.
void Give(CMediaSampleQueue& queue, IMediaSample* sample) {
    queue.PushSample(sample);
    sample->Release();
}

TEST(SampleQueueTest, PushOfZeroAndCloseWakeAWaiterWithoutStoringAnything) {
    Watchdog watchdog("waking the queue's waiter");
    CMediaSampleQueue queue;
    for (const bool close : {false, true}) {
        std::thread waiter([&] { queue.Wait(); });
        close ? queue.Close() : queue.Push(0);
        waiter.join();
        EXPECT_EQ(queue.GetCount(), 0u);
        EXPECT_EQ(queue.Pop(), 0);
        EXPECT_EQ(queue.IsClosed(), close);
    }
}

TEST(SampleQueueTest, DrainReleasesSamplesAndRecordsAndKeepsOnlyTheFlushMarker) {
    LoggingSink f;
    CMediaSampleQueue queue;
    Give(queue, f.Sample(0));
    queue.PushNewSegment(10, 20, 1.0);
    Give(queue, f.Sample(1));
    queue.PushEndOfStream();
    queue.Push(kQueueFlush);
    Give(queue, f.Sample(2));
    DrainQueue(queue);
    EXPECT_TRUE(f.PoolIsFull());
    EXPECT_EQ(queue.Pop(), kQueueFlush);
    EXPECT_EQ(queue.Pop(), 0);

    queue.PushEndOfStream();
    Give(queue, f.Sample(3));
    DrainQueue(queue);
    EXPECT_EQ(queue.GetCount(), 0u);  // no flush marker appears from nowhere
    EXPECT_TRUE(f.PoolIsFull());

    Give(queue, f.Sample(4));  // the destructor drains too
}

TEST(DeliverThreadTest, DeliversSamplesSegmentsAndEndOfStreamInOrder) {
    Watchdog watchdog("delivering in order");
    LoggingSink f;
    CDeliverThread thread(f.Output());
    Log expected;
    // More samples than the pool has: the thread gives each back for a later one.
    for (int i = 0; i < 50; ++i) {
        Give(thread.Queue(), f.Sample(i));
        expected.push_back(std::to_string(i));
        if (i == 20) thread.PostNewSegment(100, 200, 1.0), expected.push_back("seg100");
    }
    thread.PostEndOfStream();
    expected.push_back("eos");
    EXPECT_EQ(f.pin.WaitFor(expected.size()), expected);
}

TEST(DeliverThreadTest, FlushDropsQueuedWorkPassesTheFlushOnAndIsAcknowledgedBehindDelivery) {
    Watchdog watchdog("flushing the delivery thread");
    LoggingSink f;
    {
        CDeliverThread thread(f.Output());
        f.pin.gated = true;
        Give(thread.Queue(), f.Sample(0));
        f.pin.gateReached.Wait();  // the thread delivers 0 and waits at the pin
        Give(thread.Queue(), f.Sample(1));
        thread.PostNewSegment(10, 20, 1.0);
        thread.PostEndOfStream();

        thread.BeginFlush();
        EXPECT_EQ(f.pin.WaitFor(1), (Log{"flush"}));  // at once, ahead of the queue
        EXPECT_EQ(thread.Queue().GetCount(), 1u);     // the marker alone
        f.pin.gateOpen.Set();                         // 0 reaches the flushing pin: refused
        thread.FlushDone().Wait();
        thread.OutputPin()->DeliverEndFlush();
        EXPECT_TRUE(f.PoolIsFull());

        Give(thread.Queue(), f.Sample(2));  // the stream goes on
        EXPECT_EQ(f.pin.WaitFor(3), (Log{"flush", "endflush", "2"}));

        Give(thread.Queue(), f.Sample(3));
        Give(thread.Queue(), f.Sample(4));
        thread.PostEndOfStream();
    }  // destroyed with work queued or in flight: nothing is kept
    EXPECT_TRUE(f.PoolIsFull());
}

}  // namespace

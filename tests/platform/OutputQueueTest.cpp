// COutputQueue in front of a logging input pin, as the queued output pins use it (a thread of its
// own, batches of one): order of samples, end of stream and new segments; flushing; failures.
#include <gtest/gtest.h>

#include "platform/OutputQueue.h"
#include "platform/support/LoggingSink.h"

using namespace qv_test;

namespace {

TEST(OutputQueueTest, DeliversSamplesSegmentsAndEndOfStreamInOrder) {
    LoggingSink f({.flushes = false});
    HRESULT hr = S_OK;
    COutputQueue queue(&f.pin, &hr);
    ASSERT_EQ(hr, S_OK);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(queue.Receive(f.Sample(i)), S_OK);
    queue.NewSegment(10, 20, 1.0);
    ASSERT_EQ(queue.Receive(f.Sample(3)), S_OK);
    queue.EOS();
    EXPECT_EQ(f.pin.WaitFor(6), (Log{"0", "1", "2", "seg10", "3", "eos"}));
    EXPECT_TRUE(f.PoolIsFull());
}

TEST(OutputQueueTest, FlushDropsQueuedSamplesAndTheStreamGoesOn) {
    LoggingSink f({.flushes = false});
    HRESULT hr = S_OK;
    COutputQueue queue(&f.pin, &hr);
    f.pin.gated = true;
    ASSERT_EQ(queue.Receive(f.Sample(0)), S_OK);
    f.pin.gateReached.Wait();  // the thread delivers 0 and waits
    for (int i = 1; i < 4; ++i) ASSERT_EQ(queue.Receive(f.Sample(i)), S_OK);
    queue.EOS();
    EXPECT_FALSE(queue.IsIdle());

    queue.BeginFlush();
    EXPECT_TRUE(f.pin.IsFlushing());
    EXPECT_EQ(queue.Receive(f.Sample(9)), S_FALSE);  // released, not queued
    f.pin.gateOpen.Set();                            // 0 reaches the flushing pin: refused
    queue.EndFlush();
    EXPECT_FALSE(f.pin.IsFlushing());
    EXPECT_TRUE(queue.IsIdle());
    EXPECT_TRUE(f.PoolIsFull());

    ASSERT_EQ(queue.Receive(f.Sample(4)), S_OK);
    queue.EOS();
    EXPECT_EQ(f.pin.WaitFor(2), (Log{"4", "eos"}));
}

TEST(OutputQueueTest, DeliveryFailureIsAnsweredUntilTheNextFlush) {
    LoggingSink f({.flushes = false});
    HRESULT hr = S_OK;
    COutputQueue queue(&f.pin, &hr, false, false);
    ASSERT_EQ(f.Stop(), S_OK);
    EXPECT_EQ(queue.Receive(f.Sample(0)), VFW_E_WRONG_STATE);
    ASSERT_EQ(f.Pause(), S_OK);
    EXPECT_EQ(queue.Receive(f.Sample(1)), VFW_E_WRONG_STATE);  // not delivered
    queue.BeginFlush();
    queue.EndFlush();
    EXPECT_EQ(queue.Receive(f.Sample(2)), S_OK);
    EXPECT_EQ(f.pin.WaitFor(1), (Log{"2"}));
    EXPECT_TRUE(f.PoolIsFull());
}

}  // namespace

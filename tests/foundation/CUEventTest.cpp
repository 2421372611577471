#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <semaphore>
#include <thread>
#include <vector>

#include "foundation/CUAutoResetEvent.h"
#include "foundation/CUManualResetEvent.h"

namespace {

using std::chrono::milliseconds;

// Looks at an event without blocking; consumes it if it is automatic and signalled.
bool IsSignalled(CUEventWaitHandle& event) {
    return CUWaitAny({&event}, milliseconds(0)) == 0;
}

TEST(CUAutoResetEvent, SignalWaitsForItsWaiterAndFallsBack) {
    CUSharedPtr<CUAutoResetEvent> event = CUCreate<CUAutoResetEvent>(false);
    EXPECT_FALSE(IsSignalled(*event));

    EXPECT_TRUE(event->Set());
    EXPECT_TRUE(event->Set());  // a second Set adds nothing
    CUSharedPtr<CUWaitHandle> handle = event;
    EXPECT_TRUE(handle->Wait());
    EXPECT_FALSE(IsSignalled(*event));

    EXPECT_TRUE(event->Set());
    EXPECT_TRUE(event->Reset());
    EXPECT_FALSE(IsSignalled(*event));

    CUAutoResetEvent startsSignalled(true);
    EXPECT_TRUE(startsSignalled.Wait());
    EXPECT_FALSE(IsSignalled(startsSignalled));
}

TEST(CUManualResetEvent, ReleasesEveryWaiterAndStaysSetUntilReset) {
    constexpr int kWaiters = 4;
    CUManualResetEvent event;

    std::latch passed(kWaiters);
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&] {
            event.Wait();
            passed.count_down();
        });
    }
    event.Set();
    passed.wait();
    for (auto& waiter : waiters) waiter.join();

    EXPECT_TRUE(event.Wait());
    EXPECT_TRUE(IsSignalled(event));
    event.Reset();
    EXPECT_FALSE(IsSignalled(event));
}

TEST(CUWaitAny, FirstSignalledInListOrderWinsAndOnlyItIsConsumed) {
    CUAutoResetEvent never(false), first(true), second(true);
    CUManualResetEvent manual;
    EXPECT_EQ(CUWaitAny({&never, &first, &second}, milliseconds(0)), 1);
    EXPECT_FALSE(IsSignalled(first));
    EXPECT_TRUE(IsSignalled(second));

    manual.Set();
    second.Set();
    EXPECT_EQ(CUWaitAny({&never, &manual, &second}), 1);
    EXPECT_TRUE(IsSignalled(manual));
    EXPECT_TRUE(IsSignalled(second));
}

TEST(CUWaitAny, TimesOutOrRefuses) {
    CUAutoResetEvent event(false);
    EXPECT_EQ(CUWaitAny({&event}, milliseconds(5)), CUWaitTimeout);
    EXPECT_EQ(CUWaitAny({&event, nullptr}), CUWaitFailed);
    EXPECT_EQ(CUWaitAny(std::span<CUEventWaitHandle* const>()), CUWaitFailed);
    std::vector<CUEventWaitHandle*> tooMany(CUWaitAnyMaxEvents + 1, &event);
    EXPECT_EQ(CUWaitAny(tooMany), CUWaitFailed);
    // A timed-out wait must not swallow a later Set.
    event.Set();
    EXPECT_TRUE(IsSignalled(event));
}

// Plain waiters and CUWaitAny callers compete for one automatic event: every Set must release
// exactly one of them, never none and never two.
TEST(CUWaitAny, SharesAnAutomaticEventWithPlainWaitersWithoutLosingSignals) {
    constexpr int kRounds = 200;
    constexpr int kThreads = 4;
    CUAutoResetEvent shared(false);
    std::counting_semaphore<kThreads * kRounds> released(0);
    std::atomic<int> passed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            CUAutoResetEvent idle(false);
            for (int round = 0; round < kRounds; ++round) {
                if (t % 2 == 0) {
                    shared.Wait();
                } else {
                    EXPECT_EQ(CUWaitAny({&idle, &shared}), 1);
                }
                ++passed;
                released.release();
            }
        });
    }
    for (int i = 0; i < kThreads * kRounds; ++i) {
        shared.Set();
        released.acquire();
        EXPECT_EQ(passed.load(), i + 1);
    }
    for (auto& thread : threads) thread.join();
    EXPECT_FALSE(released.try_acquire());
    EXPECT_FALSE(IsSignalled(shared));
}

}  // namespace

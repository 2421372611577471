#include <gtest/gtest.h>

#include <latch>
#include <thread>
#include <vector>

#include "foundation/CUAutoResetEvent.h"
#include "foundation/CUManualResetEvent.h"
#include "platform/MediaType.h"  // declares REFERENCE_TIME too: both must go together
#include "platform/ReferenceClock.h"

namespace {

constexpr REFERENCE_TIME kMs = 10'000;
constexpr REFERENCE_TIME kSecond = 1000 * kMs;

// Holds one reference to a new clock.
struct Clock {
    CSystemClock* clock = new CSystemClock;
    Clock() { clock->AddRef(); }
    ~Clock() { clock->Release(); }
    CSystemClock* operator->() const { return clock; }
};

bool IsSet(CUEventWaitHandle& event) {
    return CUWaitAny({&event}, std::chrono::milliseconds(0)) == 0;
}

TEST(CSystemClock, TimeIsMonotonicInHundredsOfNanoseconds) {
    Clock clock;
    REFERENCE_TIME previous = 0;
    ASSERT_EQ(clock->GetTime(&previous), S_OK);
    for (int i = 0; i < 1000; ++i) {
        REFERENCE_TIME now = 0;
        clock->GetTime(&now);
        ASSERT_GE(now, previous);
        previous = now;
    }
    // The steady clock of the system, in 100-ns units.
    const auto steady = std::chrono::duration_cast<std::chrono::nanoseconds>(
                            std::chrono::steady_clock::now().time_since_epoch())
                            .count() /
                        100;
    EXPECT_NEAR(static_cast<double>(previous), static_cast<double>(steady), kSecond);
    EXPECT_EQ(clock->GetTime(nullptr), E_POINTER);

    IReferenceClock* asClock = nullptr;
    ASSERT_EQ(clock->QueryInterface(IID_IReferenceClock, reinterpret_cast<void**>(&asClock)), S_OK);
    asClock->Release();
}

TEST(CSystemClock, AdvisesFireByDueTimeAndUnadviseStopsThem) {
    Clock clock;
    CUManualResetEvent early, late, never;
    const REFERENCE_TIME now = CSystemClock::Now();
    uintptr_t lateCookie = 0, earlyCookie = 0, neverCookie = 0;
    // Made out of order: the due time decides.
    ASSERT_EQ(clock->AdviseTime(now, 60 * kMs, &late, &lateCookie), S_OK);
    ASSERT_EQ(clock->AdviseTime(now, 20 * kMs, &early, &earlyCookie), S_OK);
    ASSERT_EQ(clock->AdviseTime(now, 100 * kSecond, &never, &neverCookie), S_OK);
    EXPECT_FALSE(IsSet(late));

    late.Wait();
    EXPECT_GE(CSystemClock::Now(), now + 60 * kMs);
    EXPECT_TRUE(IsSet(early));
    EXPECT_FALSE(IsSet(never));
    EXPECT_EQ(clock->Unadvise(neverCookie), S_OK);
    EXPECT_EQ(clock->Unadvise(neverCookie), S_FALSE);
    EXPECT_EQ(clock->Unadvise(earlyCookie), S_FALSE);  // fired: gone

    // A time that has passed fires at once.
    CUManualResetEvent past;
    uintptr_t cookie = 0;
    ASSERT_EQ(clock->AdviseTime(1, 0, &past, &cookie), S_OK);
    past.Wait();
}

TEST(CSystemClock, PeriodicAdviseRepeatsUntilUnadvised) {
    Clock clock;
    CUAutoResetEvent tick(false);
    const REFERENCE_TIME start = CSystemClock::Now() + 5 * kMs;
    uintptr_t cookie = 0;
    ASSERT_EQ(clock->AdvisePeriodic(start, 10 * kMs, &tick, &cookie), S_OK);
    for (int i = 0; i < 3; ++i) tick.Wait();
    EXPECT_GE(CSystemClock::Now(), start + 2 * 10 * kMs);
    EXPECT_EQ(clock->Unadvise(cookie), S_OK);
    EXPECT_EQ(clock->Unadvise(cookie), S_FALSE);
}

TEST(CSystemClock, RefusesBadArguments) {
    Clock clock;
    CUManualResetEvent event;
    uintptr_t cookie = 0;
    EXPECT_EQ(clock->AdviseTime(1, 1, nullptr, &cookie), E_POINTER);
    EXPECT_EQ(clock->AdviseTime(1, 1, &event, nullptr), E_POINTER);
    EXPECT_EQ(clock->AdviseTime(0, 0, &event, &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdviseTime(-5, 1, &event, &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdvisePeriodic(1, 0, &event, &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdvisePeriodic(0, 10, &event, &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->Unadvise(12345), S_FALSE);
}

TEST(CSystemClock, AdvisesFromManyThreadsAllFire) {
    Clock clock;
    constexpr int kThreads = 4, kEach = 25;
    std::vector<CUManualResetEvent> events(kThreads * kEach);
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (int i = 0; i < kEach; ++i) {
                uintptr_t cookie = 0;
                EXPECT_EQ(clock->AdviseTime(CSystemClock::Now(), (i % 5) * kMs,
                                            &events[t * kEach + i], &cookie),
                          S_OK);
            }
        });
    }
    for (auto& thread : threads) thread.join();
    for (auto& event : events) event.Wait();
}

TEST(CSystemClock, DestroyedWithPendingAdvises) {
    CUManualResetEvent event;
    {
        Clock clock;
        uintptr_t cookie = 0;
        ASSERT_EQ(clock->AdviseTime(CSystemClock::Now(), 100 * kSecond, &event, &cookie), S_OK);
    }
    EXPECT_FALSE(IsSet(event));
}

}  // namespace

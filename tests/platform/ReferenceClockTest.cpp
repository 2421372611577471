#include <gtest/gtest.h>

#include "foundation/CUAutoResetEvent.h"
#include "foundation/CUManualResetEvent.h"
#include "platform/MediaType.h"  // declares REFERENCE_TIME too: both must go together
#include "platform/ReferenceClock.h"

namespace {

constexpr REFERENCE_TIME kMs = 10'000;

struct Clock {  // holds one reference to a new clock
    CSystemClock* clock = new CSystemClock;
    Clock() { clock->AddRef(); }
    ~Clock() { clock->Release(); }
    CSystemClock* operator->() const { return clock; }
};

bool IsSet(CUEventWaitHandle& event) {
    return CUWaitAny({&event}, std::chrono::milliseconds(0)) == 0;
}

TEST(CSystemClock, TimeIsMonotonicAndBadArgumentsAreRefused) {
    Clock clock;
    REFERENCE_TIME previous = 0, now = 0;
    for (int i = 0; i < 1000; ++i, previous = now) {
        ASSERT_EQ(clock->GetTime(&now), S_OK);
        ASSERT_GE(now, previous);
    }
    const auto steady =
        std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(100);
    EXPECT_NEAR(static_cast<double>(now), static_cast<double>(steady), 1000.0 * kMs);

    CUManualResetEvent event;
    uintptr_t cookie = 0;
    EXPECT_EQ(clock->GetTime(nullptr), E_POINTER);
    EXPECT_EQ(clock->AdviseTime(1, 1, nullptr, &cookie), E_POINTER);
    EXPECT_EQ(clock->AdviseTime(0, 0, &event, &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdviseTime(-5, 1, &event, &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdvisePeriodic(1, 0, &event, &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->Unadvise(12345), S_FALSE);
}

TEST(CSystemClock, AdvisesFireByDueTimeAndUnadviseStopsThem) {
    CUManualResetEvent early, late, unadvised, pendingAtDestruction, past;
    {
        Clock clock;
        const REFERENCE_TIME now = CSystemClock::Now();
        uintptr_t lateCookie, earlyCookie, unadvisedCookie, cookie;
        // Made out of order: the due time decides.
        ASSERT_EQ(clock->AdviseTime(now, 60 * kMs, &late, &lateCookie), S_OK);
        ASSERT_EQ(clock->AdviseTime(now, 20 * kMs, &early, &earlyCookie), S_OK);
        ASSERT_EQ(clock->AdviseTime(now, 100'000 * kMs, &unadvised, &unadvisedCookie), S_OK);
        ASSERT_EQ(clock->AdviseTime(now, 100'000 * kMs, &pendingAtDestruction, &cookie), S_OK);
        late.Wait();
        EXPECT_GE(CSystemClock::Now(), now + 60 * kMs);
        EXPECT_TRUE(IsSet(early));
        EXPECT_EQ(clock->Unadvise(unadvisedCookie), S_OK);
        EXPECT_EQ(clock->Unadvise(unadvisedCookie), S_FALSE);
        EXPECT_EQ(clock->Unadvise(earlyCookie), S_FALSE);          // fired: gone
        ASSERT_EQ(clock->AdviseTime(1, 0, &past, &cookie), S_OK);  // passed: fires at once
        past.Wait();
    }
    EXPECT_FALSE(IsSet(unadvised));
    EXPECT_FALSE(IsSet(pendingAtDestruction));
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

}  // namespace

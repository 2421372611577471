// The system clock: monotonic steady time; one-shot advises by due time, unadvised, and dropped
// with the clock. (No renderer asks for periodic advises.)
#include <gtest/gtest.h>

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

TEST(CSystemClock, TimeIsMonotonicSteadyTime) {
    Clock clock;
    REFERENCE_TIME previous = 0, now = 0;
    for (int i = 0; i < 1000; ++i, previous = now) {
        ASSERT_EQ(clock->GetTime(&now), S_OK);
        ASSERT_GE(now, previous);
    }
    const auto steady =
        std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(100);
    EXPECT_NEAR(static_cast<double>(now), static_cast<double>(steady), 1000.0 * kMs);
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

}  // namespace

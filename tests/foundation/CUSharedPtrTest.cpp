#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <thread>
#include <vector>

#include "foundation/CULockAbstract.h"
#include "foundation/CURecursiveLock.h"
#include "foundation/CUStringWin.h"

namespace {

// Counts destructions so that a test can see an object die exactly once.
class Tracked : public CUObject {
public:
    explicit Tracked(std::atomic<int>& deaths) : deaths(deaths) {}
    ~Tracked() override { deaths.fetch_add(1); }

private:
    std::atomic<int>& deaths;
};

class Other : public CUObject {};

TEST(CUSharedPtr, CopyAssignAndMoveKeepTheCountRight) {
    std::atomic<int> deaths{0};
    auto* raw = new Tracked(deaths);
    EXPECT_EQ(raw->RetainCount(), 0);  // unowned until taken
    CUSharedPtr<Tracked> a(raw);
    CUSharedPtr<Tracked>& alias = a;
    a = alias;
    a = a.Get();
    EXPECT_EQ(raw->RetainCount(), 1);
    CUSharedPtr<Tracked> b(new Tracked(deaths));
    a = b;  // drops the old after taking the new
    EXPECT_EQ(deaths.load(), 1);
    EXPECT_EQ(b->RetainCount(), 2);
    a = nullptr;
    EXPECT_EQ(b->RetainCount(), 1);
    CUSharedPtr<CUObject> base(std::move(b));
    EXPECT_FALSE(b);
    EXPECT_EQ(base->RetainCount(), 1);
    base = nullptr;
    EXPECT_EQ(deaths.load(), 2);
}

TEST(CUSharedPtr, DownCastIsCheckedAtRunTime) {
    CUSharedPtr<CUObject> object = CUCreate<CUStringWin>("x");
    CUSharedPtr<CUStringWin> asString(object);
    ASSERT_TRUE(asString);
    EXPECT_EQ(object->RetainCount(), 2);
    CUSharedPtr<Other> wrong(object);
    EXPECT_FALSE(wrong);
    EXPECT_EQ(object->RetainCount(), 2);
    EXPECT_FALSE(CUSharedPtr<CUStringWin>{CUSharedPtr<CUObject>()});
    // Through a virtual base and back.
    CUSharedPtr<CURecursiveLock> lock = CUCreate<CURecursiveLock>();
    CUSharedPtr<CUObject> root = CUSharedPtr<CULockAbstract>(lock);
    EXPECT_EQ(CUSharedPtr<CURecursiveLock>(root).Get(), lock.Get());
    EXPECT_EQ(root->RetainCount(), 2);
}

// Many threads copy and drop one object; it must die exactly once, when the last copy goes.
TEST(CUSharedPtr, ContendedCopiesDestroyExactlyOnce) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 250000;
    for (int trial = 0; trial < 4; ++trial) {
        std::atomic<int> deaths{0};
        std::vector<CUSharedPtr<Tracked>> seeds(kThreads);
        {
            CUSharedPtr<Tracked> origin(new Tracked(deaths));
            for (auto& seed : seeds) seed = origin;
        }
        std::barrier start(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                CUSharedPtr<Tracked> mine = std::move(seeds[t]);
                start.arrive_and_wait();
                for (int i = 0; i < kRounds; ++i) {
                    CUSharedPtr<Tracked> copy = mine;
                    CUSharedPtr<CUObject> base = copy;
                    copy = nullptr;
                }
                // All threads drop their last reference at about the same moment.
                start.arrive_and_wait();
                mine = nullptr;
            });
        }
        for (auto& thread : threads) thread.join();
        EXPECT_EQ(deaths.load(), 1);
    }
}

}  // namespace

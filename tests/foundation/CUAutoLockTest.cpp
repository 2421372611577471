#include <gtest/gtest.h>

#include "foundation/CUAutoLock.h"
#include "foundation/CURecursiveLock.h"

#include <thread>

namespace {

class CountingLock : public CULockAbstract {
public:
    void Lock() override { ++depth; }
    void Unlock() override {
        --depth;
        if (throwOnUnlock) throw 42;
    }
    int depth = 0;
    bool throwOnUnlock = false;
};

TEST(CUAutoLock, HoldsTheLockForTheScopeAndIgnoresNull) {
    { CUAutoLock guard(static_cast<CULockAbstract*>(nullptr)); }
    { CUAutoLock guard(CUSharedPtr<CULockAbstract>{}); }
    CountingLock lock;
    {
        CUAutoLock guard(&lock);
        EXPECT_EQ(lock.depth, 1);
    }
    EXPECT_EQ(lock.depth, 0);
}

TEST(CUAutoLock, SharedLockIsKeptAliveByTheGuard) {
    CUSharedPtr<CountingLock> lock = CUCreate<CountingLock>();
    CountingLock* raw = lock.Get();
    {
        CUAutoLock guard{CUSharedPtr<CULockAbstract>(lock)};
        lock = nullptr;  // the guard's reference keeps it alive
        EXPECT_EQ(raw->depth, 1);
        EXPECT_EQ(raw->RetainCount(), 1);
    }
}

TEST(CUAutoLock, ExceptionFromUnlockStaysInside) {
    CountingLock lock;
    lock.throwOnUnlock = true;
    EXPECT_NO_THROW({ CUAutoLock guard(&lock); });
    EXPECT_EQ(lock.depth, 0);
}

TEST(CURecursiveLock, NestedGuardsNeitherBlockNorReleaseEarly) {
    CURecursiveLock lock;
    CUAutoLock outer(&lock);
    { CUAutoLock inner(&lock); }
    // Still held by the outer guard: another thread cannot take it.
    bool taken = true;
    std::thread probe([&] {
        taken = lock.TryLock();
        if (taken) lock.Unlock();
    });
    probe.join();
    EXPECT_FALSE(taken);
}

}  // namespace

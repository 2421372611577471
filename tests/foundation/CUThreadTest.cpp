#include <gtest/gtest.h>
#include <sched.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "foundation/CUManualResetEvent.h"
#include "foundation/CUProcessorCount.h"
#include "foundation/CUThread.h"

namespace {

// Runs a function of the start argument on the thread.
class FunctionThread : public CUThread {
public:
    explicit FunctionThread(int (*body)(void*)) : body(body) {}
    ~FunctionThread() override { Join(); }
    int Run() override { return body(GetArgument()); }

private:
    int (*body)(void*);
};

int CountRun(void* counter) {
    ++*static_cast<std::atomic<int>*>(counter);
    return 0;
}

// Only the first wait after Start joins; every other one, and the destructor after them, returns
// at once. Joining one thread twice would be a fault of its own.
TEST(CUThread, WaitsOnlyOnceAndOnlyAfterStart) {
    std::atomic<int> runs{0};
    {
        FunctionThread idle(CountRun);
        EXPECT_TRUE(idle.Wait());
        EXPECT_TRUE(idle.Wait());
    }
    auto* thread = new FunctionThread(CountRun);
    thread->Start(&runs);
    thread->Start(&runs);
    thread->Join();
    EXPECT_EQ(runs.load(), 1);
    EXPECT_TRUE(thread->Wait());
    thread->Join();
    delete thread;
    EXPECT_EQ(runs.load(), 1);
}

// Run holds until released; the object is destroyed on a third thread meanwhile. The end of
// Run must be recorded before the end of the destruction.
struct DestructionProbe {
    CUManualResetEvent entered;
    CUManualResetEvent destroying;
    CUManualResetEvent release;
    std::mutex mutex;
    std::vector<const char*> order;

    void Record(const char* step) {
        std::lock_guard lock(mutex);
        order.push_back(step);
    }
};

// Run touches only the probe reached through the argument, which outlives the object, and the
// base's argument member, which lives until the base destructor has joined.
class HeldThread : public CUThread {
public:
    ~HeldThread() override { static_cast<DestructionProbe*>(GetArgument())->destroying.Set(); }
    int Run() override {
        auto* probe = static_cast<DestructionProbe*>(GetArgument());
        probe->entered.Set();
        probe->release.Wait();
        probe->Record("run returned");
        return 0;
    }
};

TEST(CUThread, DestructorBlocksUntilRunReturns) {
    DestructionProbe probe;
    auto* thread = new HeldThread;
    thread->Start(&probe);
    probe.entered.Wait();

    std::thread destroyer([&] {
        delete thread;
        probe.Record("destroyed");
    });
    probe.destroying.Wait();
    {
        std::lock_guard lock(probe.mutex);
        EXPECT_TRUE(probe.order.empty());
    }
    probe.release.Set();
    destroyer.join();

    ASSERT_EQ(probe.order.size(), 2u);
    EXPECT_STREQ(probe.order[0], "run returned");
    EXPECT_STREQ(probe.order[1], "destroyed");
}

// A body that drops the last reference to its own thread object must not try to join itself.
// It does so only after Start has returned, as the controlling thread's bookkeeping must be done.
class SelfReleasingThread : public CUThread {
public:
    SelfReleasingThread(CUManualResetEvent* started, CUManualResetEvent* gone)
        : started(started), gone(gone) {}
    ~SelfReleasingThread() override { gone->Set(); }
    int Run() override {
        started->Wait();
        self = nullptr;
        return 0;
    }
    CUSharedPtr<SelfReleasingThread> self;

private:
    CUManualResetEvent* started;
    CUManualResetEvent* gone;
};

TEST(CUThread, LastReferenceDroppedOnItsOwnThread) {
    CUManualResetEvent started;
    CUManualResetEvent gone;
    auto thread = CUCreate<SelfReleasingThread>(&started, &gone);
    thread->self = thread;
    thread->Start(nullptr);
    thread = nullptr;
    started.Set();
    gone.Wait();
}

// Confining a thread to some processors must show in the count it gets.
TEST(GetProcessorCount, FollowsTheCallingThreadsAffinity) {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    ASSERT_EQ(sched_getaffinity(0, sizeof allowed, &allowed), 0);
    std::vector<int> cpus;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &allowed)) cpus.push_back(cpu);
    }
    ASSERT_FALSE(cpus.empty());
    EXPECT_EQ(GetProcessorCount(), cpus.size());

    // On a thread of its own, so that the test's thread keeps its mask.
    uint32_t confined = 0;
    std::thread worker([&] {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(cpus.front(), &one);
        if (sched_setaffinity(0, sizeof one, &one) == 0) confined = GetProcessorCount();
    });
    worker.join();
    EXPECT_EQ(confined, 1u);
}

}  // namespace

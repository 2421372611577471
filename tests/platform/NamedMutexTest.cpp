#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "foundation/CUManualResetEvent.h"
#include "platform/NamedMutex.h"

namespace {

// A name of this test process alone, so that parallel runs do not meet.
std::string UniqueName(const char* what) {
    return std::string("test-") + what + "-" + std::to_string(getpid());
}

// A second holder waits until the first releases, or until its stop event ends the wait.
TEST(CNamedMutex, SecondHolderWaitsUntilReleaseOrStop) {
    for (const bool stopped : {false, true}) {
        const std::string name = UniqueName(stopped ? "stop" : "release");
        CNamedMutex first(name), second(name);
        ASSERT_TRUE(first.IsValid());
        ASSERT_EQ(first.Acquire(nullptr), S_OK);
        EXPECT_EQ(second.TryAcquire(), S_FALSE);
        CUManualResetEvent stop;
        HRESULT got = E_FAIL;
        std::thread waiter([&] { got = second.Acquire(&stop); });
        if (stopped) {
            stop.Set();
        } else {
            EXPECT_TRUE(first.Release());
            EXPECT_FALSE(first.Release());
        }
        waiter.join();
        EXPECT_EQ(got, stopped ? S_FALSE : S_OK);
        EXPECT_EQ(second.IsHeld(), !stopped);
        EXPECT_FALSE(stopped && second.Release());  // not the owner: fails quietly
        EXPECT_EQ((stopped ? second : first).TryAcquire(), S_FALSE);
    }
}

TEST(CNamedMutex, DeathOfTheHoldingProcessReleases) {
    const std::string name = UniqueName("death") + "/x";  // '/' is made safe
    int held[2], never[2];
    ASSERT_EQ(pipe(held), 0);
    ASSERT_EQ(pipe(never), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        CNamedMutex mutex(name);
        const char ok = mutex.Acquire(nullptr) == S_OK ? 1 : 0;
        if (write(held[1], &ok, 1) != 1) _exit(2);
        char none;
        (void)!read(never[0], &none, 1);  // blocks until killed
        _exit(0);
    }
    char ok = 0;
    ASSERT_EQ(read(held[0], &ok, 1), 1);
    ASSERT_EQ(ok, 1);
    CNamedMutex mutex(name);
    EXPECT_EQ(mutex.TryAcquire(), S_FALSE);
    CUManualResetEvent stop;
    stop.Set();
    EXPECT_EQ(mutex.Acquire(&stop), S_FALSE);

    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    CUManualResetEvent unset;
    EXPECT_EQ(mutex.Acquire(&unset), S_OK);
    for (int fd : {held[0], held[1], never[0], never[1]}) close(fd);
}

}  // namespace

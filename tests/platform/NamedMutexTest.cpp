// The named mutex across processes: a holder's death releases it. Waiting for another holder in
// the same process, until it releases or a stop, is the pipeline workers' test of their turns.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "foundation/CUManualResetEvent.h"
#include "platform/NamedMutex.h"

namespace {

TEST(CNamedMutex, DeathOfTheHoldingProcessReleases) {
    // A name of this test process alone, so that parallel runs do not meet; '/' is made safe.
    const std::string name = "test-death-" + std::to_string(getpid()) + "/x";
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

// CUThread: an operating-system thread whose body is the virtual Run.
//
// Start(argument) launches the thread once; Run reads the argument through GetArgument. Wait and
// Join block until Run has returned, the first time only: a thread never started, or one waited
// for already, doesn't block. The destructor waits in the same way, so destroying a running
// thread blocks until Run returns; a subclass must have told its body to stop by then, and if
// Run uses the subclass's own members the subclass must Join in its own destructor, because
// they are gone when this destructor runs.
//
// Threads: one controlling thread calls Start, Wait, Join and the destructor; only GetArgument
// and Run run on the new thread. Failures: if the system refuses a thread, Start reports
// nothing; the object counts as started with an empty handle, and every wait returns at once.
#pragma once

#include <cstdint>
#include <thread>

#include "foundation/CUWaitHandle.h"

class CUThread : public CUWaitHandle {
public:
    CUThread() = default;
    CUThread(const CUThread&) = delete;
    CUThread& operator=(const CUThread&) = delete;
    ~CUThread() override;

    // Blocks until Run has returned, unless this thread never started or was waited for
    // already. Always true.
    bool Wait() override;
    // Called once in an object's life; a second call does nothing.
    virtual void Start(void* startArgument);
    // The thread's body. Its result is the thread's exit code, which nothing here reads.
    virtual int Run() { return 0; }

    void* GetArgument() const noexcept { return argument; }
    void Join() { CUThread::Wait(); }

private:
    static void Entry(CUThread* thread) noexcept;

    void* argument = nullptr;
    std::thread handle;
    uint8_t started = 0;
    uint8_t joined = 0;
};

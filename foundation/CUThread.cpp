#include "foundation/CUThread.h"

#include <new>
#include <system_error>

CUThread::~CUThread() {
    // Non-virtual on purpose: a subclass's Wait is gone by now.
    if (started) CUThread::Wait();
}

bool CUThread::Wait() {
    if (!started || joined) return true;
    joined = 1;
    if (!handle.joinable()) return true;
    if (handle.get_id() == std::this_thread::get_id()) {
        // The body dropped the last reference to its own thread object. Joining itself would
        // never end; the thread finishes on its own once Run returns.
        handle.detach();
        return true;
    }
    handle.join();
    return true;
}

void CUThread::Start(void* startArgument) {
    if (started) return;
    argument = startArgument;
    try {
        handle = std::thread(&CUThread::Entry, this);
    } catch (const std::system_error&) {
        // The system refused a thread; the handle stays empty so that waits end at once.
    } catch (const std::bad_alloc&) {
    }
    started = 1;
    joined = 0;
}

void CUThread::Entry(CUThread* thread) noexcept {
    thread->Run();
}

// CURecursiveLock: a lock the same thread may take again; it must unlock as often as it locked.
// May be taken from any thread. The system relies on recursion: a stream's Read runs under the
// same lock as a caller's guard around Seek and Read, and the cache manager calls back into a
// stream whose lock the calling thread holds already.
#pragma once

#include <mutex>

#include "foundation/CULockAbstract.h"

class CURecursiveLock : public CULockAbstract {
public:
    void Lock() override { mutex.lock(); }
    void Unlock() override { mutex.unlock(); }
    // Takes the lock if no other thread holds it.
    bool TryLock() { return mutex.try_lock(); }

    // For std::lock_guard and std::condition_variable_any.
    void lock() { Lock(); }
    void unlock() { Unlock(); }

private:
    std::recursive_mutex mutex;
};

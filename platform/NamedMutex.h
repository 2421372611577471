// CNamedMutex: a mutex known by name to every process of the user, so that only one worker of a
// kind works at a time on the machine.
//
// The mutex is an exclusive flock on a lock file in the runtime directory ($XDG_RUNTIME_DIR/qvflts,
// or /tmp/qvflts-<uid> without it). Two CNamedMutex objects of the same name exclude each other,
// in one process or in two; the lock ends when the holder releases it, destroys the object, or
// its process ends or dies. Acquire waits until the mutex is had or a stop event is set; between
// non-blocking lock attempts it waits on the stop event for a short while (the lock file is
// outside this process and cannot signal an event).
// Threads: one object is used by one thread at a time; different objects may be used from any
// threads. Ownership: the object owns its file descriptor (not inherited across exec).
// Failures: if the lock file could not be opened, IsValid() is false and Acquire answers E_FAIL;
// the caller then runs without exclusion.
#pragma once

#include <chrono>
#include <string>

#include "foundation/CUEventWaitHandle.h"
#include "platform/HResult.h"

class CNamedMutex {
public:
    // Characters of `name` other than letters, digits, '.', '-' and '_' become '_'.
    explicit CNamedMutex(const std::string& name);
    CNamedMutex(const CNamedMutex&) = delete;
    CNamedMutex& operator=(const CNamedMutex&) = delete;
    ~CNamedMutex();  // releases the mutex if held

    bool IsValid() const { return fd >= 0; }
    bool IsHeld() const { return held; }
    const std::string& Path() const { return path; }

    // Waits until the mutex is held (S_OK) or `stopEvent` is set (S_FALSE, not held). A null
    // stop event waits without end. S_OK at once if this object holds it already; E_FAIL
    // without a lock file or when locking fails for another reason than contention.
    HRESULT Acquire(CUEventWaitHandle* stopEvent);
    // One attempt: S_OK if held now, S_FALSE if another holder has it, E_FAIL as above.
    HRESULT TryAcquire();
    // Releases the mutex; false (and nothing happens) if this object does not hold it.
    bool Release();

    // How long Acquire waits on the stop event between lock attempts.
    static constexpr std::chrono::milliseconds kRetryInterval{20};

    // The directory of the lock files, created on first use (mode 0700).
    static std::string RuntimeDirectory();

private:
    std::string path;
    int fd = -1;
    bool held = false;
};

#include "platform/NamedMutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

std::string CNamedMutex::RuntimeDirectory() {
    std::string dir;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime) {
        dir = std::string(runtime) + "/qvflts";
    } else {
        // /tmp is shared by all users: one folder per user keeps the names per user.
        dir = "/tmp/qvflts-" + std::to_string(getuid());
    }
    ::mkdir(dir.c_str(), 0700);  // an existing folder is fine; a failure shows at open
    return dir;
}

CNamedMutex::CNamedMutex(const std::string& name) {
    std::string file;
    file.reserve(name.size());
    for (char c : name) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
        file += plain ? c : '_';
    }
    if (file.empty() || file == "." || file == "..") file = "_" + file;
    path = RuntimeDirectory() + "/" + file + ".lock";
    fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
}

CNamedMutex::~CNamedMutex() {
    if (fd >= 0) ::close(fd);  // closing the last descriptor of the description unlocks
}

HRESULT CNamedMutex::TryAcquire() {
    if (fd < 0) return E_FAIL;
    if (held) return S_OK;
    for (;;) {
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
            held = true;
            return S_OK;
        }
        if (errno == EWOULDBLOCK) return S_FALSE;
        if (errno != EINTR) return E_FAIL;
    }
}

HRESULT CNamedMutex::Acquire(CUEventWaitHandle* stopEvent) {
    if (fd < 0) return E_FAIL;
    if (held) return S_OK;
    if (!stopEvent) {
        while (::flock(fd, LOCK_EX) != 0) {
            if (errno != EINTR) return E_FAIL;
        }
        held = true;
        return S_OK;
    }
    for (;;) {
        const HRESULT hr = TryAcquire();
        if (hr != S_FALSE) return hr;
        const int woke = CUWaitAny({stopEvent}, kRetryInterval);
        if (woke == 0) return S_FALSE;
        if (woke == CUWaitFailed) return E_FAIL;
    }
}

bool CNamedMutex::Release() {
    if (!held) return false;
    ::flock(fd, LOCK_UN);
    held = false;
    return true;
}

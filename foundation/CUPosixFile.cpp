#include "foundation/CUPosixFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <new>
#include <utility>

#include "foundation/CUStringWin.h"

namespace {
// One call moves at most this much; Linux caps a single transfer just below 2 GiB anyway.
constexpr uint64_t kMaxTransfer = uint64_t{1} << 30;
}  // namespace

bool CUPosixFile::Open(const std::string& path, int flags, mode_t mode) {
    Close();
    int opened;
    do {
        opened = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, mode);
    } while (opened < 0 && errno == EINTR);
    fd = opened;
    return fd >= 0;
}

void CUPosixFile::Close() {
    // close is not retried: on Linux the descriptor is gone even when close reports EINTR.
    if (fd >= 0) ::close(std::exchange(fd, -1));
}

int CUPosixFile::Release() {
    return std::exchange(fd, -1);
}

bool CUPosixFile::Stat(struct stat* out) const {
    return fd >= 0 && ::fstat(fd, out) == 0;
}

bool CUPosixFile::TryLock(bool exclusive) const {
    if (fd < 0) return false;
    int result;
    do {
        result = ::flock(fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB);
    } while (result < 0 && errno == EINTR);
    return result == 0;
}

uint64_t CUPosixFile::ReadAt(int descriptor, void* buffer, uint64_t count, uint64_t offset,
                             bool* failed) {
    *failed = false;
    auto* bytes = static_cast<uint8_t*>(buffer);
    uint64_t done = 0;
    while (done < count) {
        uint64_t at = 0;
        if (__builtin_add_overflow(offset, done, &at) || at > static_cast<uint64_t>(INT64_MAX)) {
            break;  // no file reaches that far
        }
        const uint64_t want = count - done < kMaxTransfer ? count - done : kMaxTransfer;
        const ssize_t got = ::pread(descriptor, bytes + done, want, static_cast<off_t>(at));
        if (got < 0) {
            if (errno == EINTR) continue;
            *failed = true;
            break;
        }
        if (got == 0) break;  // end of file: another user shortened it
        done += static_cast<uint64_t>(got);
    }
    return done;
}

bool CUPosixFile::WriteAllAt(int descriptor, const void* buffer, uint64_t count, uint64_t offset) {
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    uint64_t done = 0;
    while (done < count) {
        uint64_t at = 0;
        if (__builtin_add_overflow(offset, done, &at) || at > static_cast<uint64_t>(INT64_MAX)) {
            return false;
        }
        const uint64_t want = count - done < kMaxTransfer ? count - done : kMaxTransfer;
        const ssize_t put = ::pwrite(descriptor, bytes + done, want, static_cast<off_t>(at));
        if (put < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (put == 0) return false;  // no progress: the device is full in all but name
        done += static_cast<uint64_t>(put);
    }
    return true;
}

bool CUPosixFile::Truncate(int descriptor, uint64_t newSize) {
    if (descriptor < 0 || newSize > static_cast<uint64_t>(INT64_MAX)) return false;
    int result;
    do {
        result = ::ftruncate(descriptor, static_cast<off_t>(newSize));
    } while (result < 0 && errno == EINTR);
    return result == 0;
}

bool CUPosixFile::NativePath(const CUStringWin& path, std::string* out) {
    const std::u16string_view units = path.View();
    if (units.empty() || units.find(u'\0') != std::u16string_view::npos) return false;
    try {
        *out = path.UTF8String();
    } catch (const std::bad_alloc&) {
        return false;
    }
    return !out->empty();
}

CUPathKind CUPosixFile::KindOf(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return CUPathKind::Missing;
    return S_ISDIR(info.st_mode) ? CUPathKind::Directory : CUPathKind::File;
}

// CUPosixFile: one owned POSIX file descriptor, closed when the object goes, and the few calls
// on it that the stream and file classes share.
//
// Every call retries EINTR. Opening always adds O_CLOEXEC, so that no descriptor leaks into a
// child process, and O_NONBLOCK, so that a path naming a FIFO or a device cannot hang the opener
// (on a regular file the flag changes nothing).
// Threads: one object belongs to one thread at a time; the static calls are safe anywhere.
// Failures: false, or a short count with `*failed` set; errno tells the cause.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

class CUStringWin;

enum class CUPathKind { Missing, File, Directory };

class CUPosixFile {
public:
    CUPosixFile() = default;
    CUPosixFile(const CUPosixFile&) = delete;
    CUPosixFile& operator=(const CUPosixFile&) = delete;
    ~CUPosixFile() { Close(); }

    bool Open(const std::string& path, int flags, mode_t mode = 0666);
    void Close();
    bool IsOpen() const { return fd >= 0; }
    int Descriptor() const { return fd; }
    // Gives the descriptor to the caller, who closes it.
    int Release();

    bool Stat(struct stat* out) const;
    // A non-blocking flock: shared for readers, exclusive for writers.
    bool TryLock(bool exclusive) const;
    bool Truncate(uint64_t newSize) const { return Truncate(fd, newSize); }

    // Reads at `offset` until `count` bytes, the end of the file or an error (`*failed`).
    static uint64_t ReadAt(int descriptor, void* buffer, uint64_t count, uint64_t offset,
                           bool* failed);
    // Writes all `count` bytes at `offset`, or fails.
    static bool WriteAllAt(int descriptor, const void* buffer, uint64_t count, uint64_t offset);
    static bool Truncate(int descriptor, uint64_t newSize);

    // The UTF-8 form under which the file system knows `path`. False for no text, empty text and
    // text with a U+0000 inside, which would name a different, shorter path.
    static bool NativePath(const CUStringWin& path, std::string* out);
    // What `path` names, links followed. A path that cannot be examined counts as missing.
    static CUPathKind KindOf(const std::string& path);

private:
    int fd = -1;
};

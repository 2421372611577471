#include "foundation/CUFileStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "foundation/CUAutoLock.h"
#include "foundation/CUErrorContents.h"
#include "foundation/CUPosixFile.h"
#include "foundation/CUSetErrorModeCaller.h"

namespace {
[[noreturn]] void Fail(_CUErrorContents code) {
    throw static_cast<uint32_t>(code);
}
}  // namespace

CUFileStream::CUFileStream(const CUSharedPtr<CUStringWin>& path) {
    try {
        Open(path, CUFileOpenExisting, CUFileAccessRead);
    } catch (uint32_t) {
        // A stream made from a path alone answers failure by staying closed.
    }
}

CUFileStream::CUFileStream(const CUSharedPtr<CUStringWin>& path, uint32_t mode, uint32_t access,
                           bool noThrow) {
    try {
        Open(path, mode, access);
    } catch (uint32_t) {
        if (!noThrow) throw;
    }
}

CUFileStream::~CUFileStream() {
    Close();
}

void CUFileStream::Open(const CUSharedPtr<CUStringWin>& path, uint32_t mode, uint32_t access) {
    if (!path) Fail(CUErrorNullArgument);
    if (path->Length() == 0) Fail(CUErrorInvalid);
    std::string native;
    if (!CUPosixFile::NativePath(*path, &native)) Fail(CUErrorIO);

    const CUPathKind kind = CUPosixFile::KindOf(native);
    if (kind == CUPathKind::Directory) Fail(CUErrorNotPermitted);
    const bool exists = kind == CUPathKind::File;

    int flags = 0;
    switch (access) {
        case CUFileAccessRead:
            flags = O_RDONLY;
            break;
        case CUFileAccessReadWrite:
            flags = O_RDWR;
            break;
        case CUFileAccessWrite:
            flags = O_WRONLY;
            break;
        default:
            Fail(CUErrorIO);
    }
    const bool readOnly = access == CUFileAccessRead;
    // Truncation waits until the share lock is held, so that opening can never empty a file
    // that another writer holds.
    bool truncate = false;
    switch (mode) {
        case CUFileOpenAppend:
            if (readOnly) Fail(CUErrorIO);
            flags |= O_CREAT;
            break;
        case CUFileCreateAlways:
            if (readOnly) Fail(CUErrorIO);
            flags |= O_CREAT;
            truncate = true;
            break;
        case CUFileCreateNew:
            if (exists) Fail(CUErrorIO);
            flags |= O_CREAT | O_EXCL;
            break;
        case CUFileOpenExisting:
            if (!exists) Fail(CUErrorNotFound);
            break;
        case CUFileOpenAlways:
            flags |= O_CREAT;
            break;
        case CUFileTruncateExisting:
            if (readOnly) Fail(CUErrorIO);
            if (!exists) Fail(CUErrorNotFound);
            truncate = true;
            break;
        default:
            Fail(CUErrorIO);
    }

    CUSetErrorModeCaller errorMode;
    CUPosixFile file;
    if (!file.Open(native, flags)) Fail(CUErrorIO);
    struct stat info {};
    if (!file.Stat(&info)) Fail(CUErrorIO);
    // The path may have changed between the look and the open; only a regular file can be read
    // at explicit positions.
    if (S_ISDIR(info.st_mode)) Fail(CUErrorNotPermitted);
    if (!S_ISREG(info.st_mode)) Fail(CUErrorIO);
    if (!file.TryLock(!readOnly)) Fail(CUErrorIO);
    if (truncate && !file.Truncate(0)) Fail(CUErrorIO);

    canRead = access != CUFileAccessWrite;
    canWrite = access != CUFileAccessRead;
    canSeek = true;
    handle = file.Release();
    filePointer = 0;
    size = truncate ? 0 : static_cast<uint64_t>(info.st_size);
    rangeStart = 0;
    rangeLength = size;
    position = 0;
    if (mode == CUFileOpenAppend) Seek(0, CUStreamOriginEnd);
}

bool CUFileStream::IsReadable() const {
    CUAutoLock guard(lock.Get());
    return handle >= 0 && canRead;
}

bool CUFileStream::IsWritable() const {
    CUAutoLock guard(lock.Get());
    return handle >= 0 && canWrite;
}

bool CUFileStream::IsSeekable() const {
    CUAutoLock guard(lock.Get());
    return handle >= 0 && canSeek;
}

uint64_t CUFileStream::Read(void* buffer, uint64_t count, int64_t offset, uint32_t origin) {
    CUAutoLock guard(lock.Get());
    CUSetErrorModeCaller errorMode;
    if (!buffer || handle < 0 || !canRead) return 0;
    uint64_t at = 0;
    if (count == 0 || !ResolvePosition(offset, origin, &at)) return 0;
    const uint64_t wanted = CountInRange(at, count);
    if (wanted == 0) return 0;

    // pread carries the position with it, so the descriptor's own pointer never has to be moved
    // and sequential reads cost one call each. The loop goes on through short reads and EINTR up
    // to the whole count: a count is 64 bits here, and a short answer from the kernel is not the
    // end of the data.
    bool failed = false;
    const uint64_t got = CUPosixFile::ReadAt(handle, buffer, wanted, at, &failed);
    if (got == 0 && failed) return 0;
    filePointer = at + got;
    position = filePointer;
    return got;
}

uint64_t CUFileStream::Write(const void* buffer, uint64_t count, int64_t offset, uint32_t origin) {
    CUAutoLock guard(lock.Get());
    CUSetErrorModeCaller errorMode;
    if (!buffer || handle < 0 || !canWrite) return 0;
    uint64_t at = 0;
    uint64_t end = 0;
    if (count == 0 || !ResolvePosition(offset, origin, &at) ||
        __builtin_add_overflow(at, count, &end) || end > static_cast<uint64_t>(INT64_MAX)) {
        return 0;
    }
    // pwrite extends the file by itself, so a write past the end costs no separate resize; the
    // numbers are brought up to date afterwards exactly as SetSize would leave them.
    if (!CUPosixFile::WriteAllAt(handle, buffer, count, at)) return 0;
    if (end > size) {
        size = end;
        if (canRead) {
            rangeStart = 0;
            rangeLength = end;
        }
    }
    filePointer = end;
    position = end;
    return count;
}

uint64_t CUFileStream::Seek(int64_t offset, uint32_t origin) {
    CUAutoLock guard(lock.Get());
    if (handle < 0 || !canSeek) {
        Close();
        return position;
    }
    uint64_t at = 0;
    if (ResolvePosition(offset, origin, &at)) {
        position = at;
    } else if (origin > CUStreamOriginEnd) {
        position = 0;
    }
    return position;
}

bool CUFileStream::SetSize(uint64_t newSize) {
    CUAutoLock guard(lock.Get());
    CUSetErrorModeCaller errorMode;
    if (handle < 0 || !canSeek || !canWrite || !CUPosixFile::Truncate(handle, newSize)) {
        Close();
        return false;
    }
    filePointer = newSize;
    size = newSize;
    if (canRead) {
        rangeStart = 0;
        rangeLength = newSize;
    }
    return true;
}

void CUFileStream::Close() {
    CUAutoLock guard(lock.Get());
    // Closing the descriptor also gives up its share lock. close is not retried: on Linux the
    // descriptor is gone even when the call reports EINTR.
    if (handle >= 0) ::close(std::exchange(handle, -1));
}

bool CUFileStream::SetRange(uint64_t start, uint64_t length) {
    CUAutoLock guard(lock.Get());
    if (handle < 0 || !canRead || length > size || start > size - length) return false;
    rangeStart = start;
    rangeLength = length;
    return true;
}

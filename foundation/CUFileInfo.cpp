#include "foundation/CUFileInfo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <thread>

#include "foundation/CUErrorContents.h"
#include "foundation/CUFileStream.h"
#include "foundation/CUPosixFile.h"

namespace {
[[noreturn]] void Fail(_CUErrorContents code) {
    throw static_cast<uint32_t>(code);
}

constexpr uint64_t kCopyChunk = uint64_t{1} << 20;  // the granularity of progress reports
constexpr auto kGonePollInterval = std::chrono::milliseconds(100);
constexpr uint32_t kGoneTries = 100;  // how long a cancelled destination may take to go

enum class CopyOutcome { Done, Failed, Cancelled };

// Copies the bytes, the permission bits and the modification time of `from` to `to`. Anything
// but a finished copy removes what was written, so no partial destination stays behind.
CopyOutcome CopyContents(const std::string& from, const std::string& to, bool failIfExists,
                         const CUFileProgress* progress, bool writeThrough) {
    std::unique_ptr<uint8_t[]> chunk(new (std::nothrow) uint8_t[kCopyChunk]);
    CUPosixFile source;
    struct stat sourceInfo {};
    if (!chunk || !source.Open(from, O_RDONLY) || !source.Stat(&sourceInfo) ||
        !S_ISREG(sourceInfo.st_mode)) {
        return CopyOutcome::Failed;
    }
    CUPosixFile target;
    if (!target.Open(to, O_WRONLY | O_CREAT | (failIfExists ? O_EXCL : 0),
                     sourceInfo.st_mode & 0777)) {
        return CopyOutcome::Failed;
    }
    // Until the destination is emptied it may still be somebody's file: a copy onto the source
    // itself, or a file that a stream holds, is refused without touching it.
    struct stat targetInfo {};
    if (!target.Stat(&targetInfo) || !S_ISREG(targetInfo.st_mode) ||
        (targetInfo.st_dev == sourceInfo.st_dev && targetInfo.st_ino == sourceInfo.st_ino) ||
        !target.TryLock(true) || !target.Truncate(0)) {
        return CopyOutcome::Failed;
    }

    CopyOutcome outcome = CopyOutcome::Done;
    const auto total = static_cast<uint64_t>(sourceInfo.st_size);
    uint64_t copied = 0;
    for (;;) {
        bool failed = false;
        const uint64_t got =
            CUPosixFile::ReadAt(source.Descriptor(), chunk.get(), kCopyChunk, copied, &failed);
        if (failed) {
            outcome = CopyOutcome::Failed;
            break;
        }
        if (got == 0) break;
        if (!CUPosixFile::WriteAllAt(target.Descriptor(), chunk.get(), got, copied)) {
            outcome = CopyOutcome::Failed;
            break;
        }
        copied += got;
        if (progress && progress->function &&
            progress->function(copied, total, progress->context) == 0) {
            outcome = CopyOutcome::Cancelled;
            break;
        }
    }
    if (outcome == CopyOutcome::Done) {
        // The copy keeps what a user sees of the file: who may use it and when it last changed.
        // Neither is worth failing a copy whose bytes arrived.
        static_cast<void>(::fchmod(target.Descriptor(), sourceInfo.st_mode & 07777));
        const struct timespec times[2] = {sourceInfo.st_atim, sourceInfo.st_mtim};
        static_cast<void>(::futimens(target.Descriptor(), times));
        if (writeThrough && ::fsync(target.Descriptor()) != 0) outcome = CopyOutcome::Failed;
    }
    target.Close();
    if (outcome != CopyOutcome::Done) ::unlink(to.c_str());
    return outcome;
}

// rename(2) without replacing, where the file system allows saying so.
int RenameNoReplace(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL) return -1;
    struct stat info {};
    if (::lstat(to.c_str(), &info) == 0) {
        errno = EEXIST;
        return -1;
    }
    return ::rename(from.c_str(), to.c_str());
}

// A move within one file system is a rename; across file systems it is a copy written through
// to the disk, then the deletion of the source. A source that cannot be deleted afterwards
// leaves two files and still counts as moved, since the destination is complete.
CopyOutcome MoveFile(const std::string& from, const std::string& to, bool overwrite,
                     const CUFileProgress* progress) {
    const int renamed = overwrite ? ::rename(from.c_str(), to.c_str()) : RenameNoReplace(from, to);
    if (renamed == 0) return CopyOutcome::Done;
    if (errno != EXDEV) return CopyOutcome::Failed;
    const CopyOutcome copied = CopyContents(from, to, !overwrite, progress, true);
    if (copied == CopyOutcome::Done) static_cast<void>(::unlink(from.c_str()));
    return copied;
}

bool OpensForReading(const CUSharedPtr<CUStringWin>& path) {
    CUSharedPtr<CUFileStream> probe =
        CUCreate<CUFileStream>(path, CUFileOpenExisting, CUFileAccessRead, true);
    return probe && probe->IsReadable();
}
}  // namespace

CUFileInfo::CUFileInfo(const CUSharedPtr<CUStringWin>& path) : CUFileSysytemInfo(path) {}

void CUFileInfo::Delete() {
    std::string native;
    if (!CUPosixFile::NativePath(path, &native)) Fail(CUErrorDeleteFailed);
    struct stat info {};
    if (::lstat(native.c_str(), &info) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return;
        Fail(CUErrorDeleteFailed);
    }
    if (S_ISDIR(info.st_mode)) Fail(CUErrorIsDirectory);
    // A file held by a stream is shared with readers only, and deleting is not reading. A file
    // that cannot be opened to ask holds no stream of ours.
    CUPosixFile holder;
    if (S_ISREG(info.st_mode) && holder.Open(native, O_RDONLY) && !holder.TryLock(true)) {
        Fail(CUErrorDeleteFailed);
    }
    if (::unlink(native.c_str()) != 0 && errno != ENOENT) Fail(CUErrorDeleteFailed);
}

uint32_t CUFileInfo::CopyTo(const CUSharedPtr<CUStringWin>& destination, CUFileProgress* progress,
                            bool overwrite) {
    CheckTransfer(destination, progress, overwrite);
    return Transfer(destination, progress, overwrite, true);
}

uint32_t CUFileInfo::MoveTo(const CUSharedPtr<CUStringWin>& destination, CUFileProgress* progress,
                            bool overwrite) {
    CheckTransfer(destination, progress, overwrite);
    return Transfer(destination, progress, overwrite, false);
}

uint64_t CUFileInfo::GetSize() const {
    // Only asks: takes no share lock, so it answers while a writer holds the file.
    std::string native;
    CUPosixFile file;
    struct stat info {};
    if (!CUPosixFile::NativePath(path, &native) || !file.Open(native, O_RDONLY) ||
        !file.Stat(&info) || !S_ISREG(info.st_mode)) {
        Fail(CUErrorNotFound);
    }
    return static_cast<uint64_t>(info.st_size);
}

bool CUFileInfo::Exists() const {
    std::string native;
    return CUPosixFile::NativePath(path, &native) &&
           CUPosixFile::KindOf(native) == CUPathKind::File;
}

void CUFileInfo::CheckSourceOpens() const {
    CUSharedPtr<CUFileStream> source = CUCreate<CUFileStream>(CUCreate<CUStringWin>(path));
    if (!source) Fail(CUErrorIsDirectory);
    if (!source->IsReadable()) Fail(CUErrorNotFound);
}

uint32_t CUFileInfo::CopySimply(const CUSharedPtr<CUStringWin>& destination) {
    if (!destination) Fail(CUErrorNullArgument);
    if (destination->Length() == 0 || path.Length() == 0) Fail(CUErrorInvalid);
    CheckSourceOpens();
    // A simple copy never replaces a file.
    if (OpensForReading(destination)) Fail(CUErrorIO);
    std::string from;
    std::string to;
    if (!CUPosixFile::NativePath(path, &from) || !CUPosixFile::NativePath(*destination, &to)) {
        return CUStatusCopyFailed;
    }
    return CopyContents(from, to, true, nullptr, false) == CopyOutcome::Done ? CUStatusOK
                                                                             : CUStatusCopyFailed;
}

void CUFileInfo::CheckTransfer(const CUSharedPtr<CUStringWin>& destination,
                               CUFileProgress* progress, bool overwrite) {
    if (!destination || !progress) Fail(CUErrorNullArgument);
    if (destination->Length() == 0 || path.Length() == 0) Fail(CUErrorInvalid);
    CheckSourceOpens();
    if (!overwrite && OpensForReading(destination)) Fail(CUErrorIO);
}

uint32_t CUFileInfo::Transfer(const CUSharedPtr<CUStringWin>& destination, CUFileProgress* progress,
                              bool overwrite, bool copy) {
    const uint32_t failure = copy ? CUStatusCopyFailed : CUStatusMoveFailed;
    cancelled = false;
    std::string from;
    std::string to;
    if (!destination || !CUPosixFile::NativePath(path, &from) ||
        !CUPosixFile::NativePath(*destination, &to)) {
        return failure;
    }

    CopyOutcome outcome = CopyOutcome::Failed;
    if (copy) {
        outcome = CopyContents(from, to, !overwrite, progress, false);
    } else {
        // Opening for reading and writing under an exclusive share lock proves that no stream
        // holds the source, which a move would otherwise pull away from under it.
        CUPosixFile probe;
        const bool free = probe.Open(from, O_RDWR) && probe.TryLock(true);
        probe.Close();
        if (free) outcome = MoveFile(from, to, overwrite, progress);
    }
    if (outcome == CopyOutcome::Cancelled) {
        // Cancelling is the caller's choice, not a failure of the transfer.
        CUFileInfo* owner = progress && progress->fileInfo ? progress->fileInfo : this;
        owner->cancelled = true;
        WaitUntilGone(destination, kGoneTries);
        return CUStatusOK;
    }
    return outcome == CopyOutcome::Done ? CUStatusOK : failure;
}

bool CUFileInfo::WaitUntilGone(const CUSharedPtr<CUStringWin>& target, uint32_t tries) {
    CUSharedPtr<CUFileInfo> info = CUCreate<CUFileInfo>(target);
    if (!info) return false;
    for (uint32_t attempt = 0; attempt < tries; ++attempt) {
        // The file system cannot tell us when a file goes, so this asks it again after a pause.
        if (attempt > 0) std::this_thread::sleep_for(kGonePollInterval);
        if (!info->Exists()) return true;
    }
    return false;
}

// CUFileInfo: the operations on one file named by a path: size, existence, deletion, copies and
// moves with progress.
//
// Throws _CUErrorContents codes as uint32_t: Delete 7 for a directory and 8 when the file system
// refuses (also while a stream holds the file: files are shared with readers only); GetSize 9;
// CopySimply and CheckTransfer 2 for null arguments, 1 for empty paths, 7 when no stream could
// be made on the source, 9 when it cannot be read, 4 when the destination is in the way.
// Copies and moves answer CUStatusOK, CUStatusCopyFailed or CUStatusMoveFailed. They never
// follow a cancelled copy with a failure: a cancel gives CUStatusOK, sets `cancelled` and leaves
// no partial destination behind.
// Threads: no lock; one thread at a time. The progress function runs on the calling thread.
#pragma once

#include <cstdint>

#include "foundation/CUFileSysytemInfo.h"

class CUFileInfo;

// Called after each chunk of a copy with the bytes copied so far and the source's size; a
// non-zero answer lets the copy go on, 0 cancels it.
using CUFileProgressFunction = uint32_t (*)(uint64_t bytesCopied, uint64_t bytesTotal,
                                            void* context);

struct CUFileProgress {
    CUFileProgressFunction function = nullptr;  // null: no reports
    void* context = nullptr;
    CUFileInfo* fileInfo = nullptr;  // whose `cancelled` a 0 answer sets; null: the copier's own
};

class CUFileInfo : public CUFileSysytemInfo {
public:
    explicit CUFileInfo(const CUSharedPtr<CUStringWin>& path);

    // A missing file is not an error: there is nothing to do.
    virtual void Delete();
    // CheckTransfer, then Transfer with copying.
    virtual uint32_t CopyTo(const CUSharedPtr<CUStringWin>& destination, CUFileProgress* progress,
                            bool overwrite);
    // CheckTransfer, then Transfer with moving.
    virtual uint32_t MoveTo(const CUSharedPtr<CUStringWin>& destination, CUFileProgress* progress,
                            bool overwrite);
    virtual uint64_t GetSize() const;
    // The path exists and is not a directory.
    virtual bool Exists() const;
    // Copies to a destination that must not exist yet.
    virtual uint32_t CopySimply(const CUSharedPtr<CUStringWin>& destination);
    // Copies (`copy`) or moves without the checks of CheckTransfer. A move renames where it can
    // and otherwise copies, writes through to the disk and deletes the source.
    virtual uint32_t Transfer(const CUSharedPtr<CUStringWin>& destination, CUFileProgress* progress,
                              bool overwrite, bool copy);
    virtual void CheckTransfer(const CUSharedPtr<CUStringWin>& destination,
                               CUFileProgress* progress, bool overwrite);
    // Asks up to `tries` times, 100 ms apart, whether `target` exists; true once it is gone.
    virtual bool WaitUntilGone(const CUSharedPtr<CUStringWin>& target, uint32_t tries);

    bool cancelled = false;  // set when a progress function cancelled the last transfer

private:
    void CheckSourceOpens() const;
};

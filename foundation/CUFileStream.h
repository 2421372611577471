// CUFileStream: a file on disk as a CUStream, with explicit 64-bit positions and no buffer of its
// own (block caching belongs to the cache stream).
//
// Opening (CUFileOpenMode, CUFileAccess below) throws _CUErrorContents codes as uint32_t:
// 2 null path, 1 empty path, 5 a directory, 9 a missing file where one must exist, 4 a mode that
// does not fit the access or the file's state, a failed platform call, or a share conflict.
// Sharing: a file is shared with readers only. A stream opened for reading holds a shared flock,
// one opened for writing an exclusive flock, both taken without waiting, so a second writer, or a
// writer beside a reader, fails to open with 4, in this process or another.
// After opening nothing throws: Read and Write answer with the bytes moved (0 on any failure),
// Seek with the position. A failing Seek or SetSize closes the file; so does Close and the
// destructor. A closed stream reads and writes nothing.
// Threads: every operation holds the stream's lock (see CUStream).
#pragma once

#include <cstdint>

#include "foundation/CUStream.h"
#include "foundation/CUStringWin.h"

enum CUFileOpenMode : uint32_t {
    CUFileOpenAppend = 0,        // open or create, then seek to the end; needs write access
    CUFileCreateAlways = 1,      // create anew, replacing; needs write access
    CUFileCreateNew = 2,         // create; the file must not exist
    CUFileOpenExisting = 3,      // open; the file must exist
    CUFileOpenAlways = 4,        // open or create
    CUFileTruncateExisting = 5,  // open and empty; needs write access and an existing file
};

enum CUFileAccess : uint32_t {
    CUFileAccessRead = 0,
    CUFileAccessReadWrite = 1,
    CUFileAccessWrite = 2,
};

class CUFileStream : public CUStream {
public:
    // Opens an existing file for reading; a failure leaves the stream closed instead of throwing.
    explicit CUFileStream(const CUSharedPtr<CUStringWin>& path);
    // Throws the codes above unless `noThrow` is set, when a failure leaves the stream closed.
    CUFileStream(const CUSharedPtr<CUStringWin>& path, uint32_t mode, uint32_t access,
                 bool noThrow);
    CUFileStream(const CUFileStream&) = delete;
    CUFileStream& operator=(const CUFileStream&) = delete;
    ~CUFileStream() override;

    // False once the stream is closed.
    bool IsReadable() const override;
    bool IsWritable() const override;
    bool IsSeekable() const override;
    uint64_t Read(void* buffer, uint64_t count, int64_t offset, uint32_t origin) override;
    // A write that ends beyond `size` extends the file first. Any failure gives 0.
    uint64_t Write(const void* buffer, uint64_t count, int64_t offset, uint32_t origin) override;
    // Only `position` moves. A position that cannot exist (before 0, past 2^64 - 1) leaves it
    // where it was; an unknown origin sets it to 0.
    uint64_t Seek(int64_t offset, uint32_t origin) override;

    // Makes the file `newSize` bytes long; for a readable stream the range becomes the whole
    // file. Needs an open, writable stream; any failure closes the file and gives false.
    bool SetSize(uint64_t newSize);
    // Closes the file once; later calls do nothing.
    void Close();
    // Takes effect only on a readable stream and when start + length does not exceed `size`.
    bool SetRange(uint64_t start, uint64_t length);

    // Guarded by `lock`.
    bool canRead = false;
    bool canWrite = false;
    bool canSeek = false;
    int handle = -1;           // the descriptor; -1 when closed
    uint64_t filePointer = 0;  // where the last transfer ended

private:
    void Open(const CUSharedPtr<CUStringWin>& path, uint32_t mode, uint32_t access);
};

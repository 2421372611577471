// CacheFileStream: a read-only stream on a file, read in 64 KiB blocks through the process-wide
// pool of MBXMemoryCacheManager, which makes the MXF reader's many small reads cheap.
//
// The file is shared with other readers and writers (no flock); bytes already cached keep their
// old value when another program changes the file. `size` is fixed when the file opens.
// Whole blocks that the cache does not hold, asked for by one read, bypass it (ReadWholeBlocks):
// essence is copied once, and the small reads of headers and indexes keep their blocks.
// Threads: every operation holds the stream's `lock`, so one stream runs one Read at a time;
// several streams read at once. A Read takes the manager's lock for its Acquire and a cache's lock
// for list work and copies, in that order; file reads run outside both.
// Losing the cache mid-read: another stream's Acquire may steal this stream's cache at any point
// of a Read. The stream keeps the generation it was lent the cache under, and every look-up, fill
// or copy checks it under the cache's lock (MBXMemoryCache), so a stolen cache answers Stale and
// never serves this file blocks of another. A Stale piece goes back to the manager for a cache
// and is tried again; after kPieceTries it is read straight from the file, so a Read never fails
// because of a theft. A fill in flight keeps its block pinned and copies out its own bytes.
// Failures: Create gives null for a null path, or a path that names no regular file it can open.
// Read answers 0 for a bad argument, a position outside the data, no pool, or a failed file read
// (even after earlier pieces were copied; `position` then stands behind the last of them). Read and
// Seek never throw; Write throws CUErrorNotPermitted as every read-only stream does.
#pragma once

#include <cstdint>

#include "foundation/CUStream.h"
#include "foundation/CUStringWin.h"
#include "mxf/IMemoryCacheManagerAccess.h"
#include "mxf/MBXMemoryCache.h"

class MBXMemoryCacheManager;

class CacheFileStream : public CUStream, public IMemoryCacheManagerAccess {
public:
    static CUSharedPtr<CacheFileStream> Create(const CUSharedPtr<CUStringWin>& path);

    CacheFileStream(const CacheFileStream&) = delete;
    CacheFileStream& operator=(const CacheFileStream&) = delete;
    // Closes the file and gives the cache back to the manager, if there still is one.
    ~CacheFileStream() override;

    bool IsReadable() const override;
    bool IsSeekable() const override;
    uint64_t Read(void* buffer, uint64_t count, int64_t offset, uint32_t origin) override;
    // Only `position` moves, unclamped and with no file call; an unknown origin leaves it.
    uint64_t Seek(int64_t offset, uint32_t origin) override;

    void SetCache(MBXMemoryCache* given) override;
    void ClearCache() override;

    // The cache the manager gave last, which may have been stolen since.
    MBXMemoryCache* CurrentCache() const;

    static constexpr int kPieceTries = 3;

private:
    CacheFileStream() = default;

    uint64_t ReadLocked(uint8_t* buffer, uint64_t count, int64_t offset, uint32_t origin);
    // Whole blocks that no block of the cache holds, read from the file straight into `buffer`
    // in one call and not cached: the bytes of a large element are copied once, and streaming
    // essence does not push the header and index blocks out of the cache. Gives the bytes read;
    // 0 when `at` is not on a block boundary, less than a block is wanted, the first block is
    // cached, or the file read fails (the piece-wise path then decides).
    uint64_t ReadWholeBlocks(uint8_t* buffer, uint64_t at, uint64_t count);
    // One piece: from `at` to the end of its block at most. Gives its bytes, 0 on failure.
    uint64_t ReadPiece(MBXMemoryCacheManager& manager, uint8_t* buffer, uint64_t at,
                       uint64_t count);
    MBXBlockAnswer ReadFromCache(uint8_t* buffer, uint64_t at, uint64_t count, uint64_t* copied);
    MBXBlockAnswer ReadThrough(uint8_t* buffer, uint64_t at, uint64_t count, uint64_t* copied);
    uint64_t ReadDirect(uint8_t* buffer, uint64_t at, uint64_t count);

    int handle = -1;  // fixed from Create to the destructor; -1 when not open
    // Guarded by `lock`; changed only by this stream's own Acquire.
    MBXMemoryCache* cache = nullptr;  // borrowed from the manager
    uint64_t lentAt = 0;              // the generation `cache` was lent under
};

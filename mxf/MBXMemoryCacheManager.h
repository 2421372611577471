// MBXMemoryCacheManager: the process-wide pool of ten block caches, each lent to one reader at a
// time; when all are lent, the reader that read longest ago loses its cache to a new one.
//
// One manager per process: the first GetInstance makes it and Shutdown (module unload) destroys
// it, both under the module-wide cache lock, which GetInstance gives up before it returns.
// Shutdown must not overlap the life of any client: clients keep bare pointers to the caches.
// Threads: Acquire and Release hold the manager's `lock`, which guards the lists below. Acquire
// calls back into the client it serves (ClearCache, SetCache) under that lock, so a client calls
// Acquire only while it holds its own lock: the client's lock, then the manager's, then a cache's.
// A cache changes hands only through its Reset, on theft and on Release; the former owner is not
// told and learns of the loss from the cache's generation (see MBXMemoryCache).
// Ownership: the manager owns the caches and their records; an owner is borrowed, and every
// client calls Release before it dies.
// Failures: GetInstance gives null when the manager can't be made, and a later call tries again.
// A cache whose memory can't be had leaves the pool one smaller, which is no failure.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/CUObject.h"
#include "foundation/CURecursiveLock.h"
#include "mxf/IMemoryCacheManagerAccess.h"
#include "mxf/MBXMemoryCache.h"

class MBXMemoryCacheManager : public CUObject {
public:
    static constexpr size_t kPoolSize = 10;

    MBXMemoryCacheManager() = default;
    MBXMemoryCacheManager(const MBXMemoryCacheManager&) = delete;
    MBXMemoryCacheManager& operator=(const MBXMemoryCacheManager&) = delete;

    // The manager, made and filled on first use; null when it can't be made.
    static MBXMemoryCacheManager* GetInstance();
    // The manager if one exists; never makes one (for clients that only give a cache back).
    static MBXMemoryCacheManager* GetExisting();
    // Destroys the manager, if any, and its caches.
    static void Shutdown();

    // Fills the free list; once. 0, or MBXCacheErrorMemory when an allocation failed.
    uint32_t Init();
    // Finds the client's cache, or takes a free one, or steals the cache of the client that read
    // longest ago; then hands it over through SetCache. With an empty pool the client is left
    // without one. Always 0.
    uint32_t Acquire(IMemoryCacheManagerAccess* client);
    // Resets the client's cache and puts it at the back of the free list, where the next
    // Acquire takes it. Always 0.
    uint32_t Release(IMemoryCacheManagerAccess* client);

    CURecursiveLock lock;

private:
    struct CacheRecord {
        IMemoryCacheManagerAccess* owner = nullptr;  // first, for the move-to-front walk
        CUSharedPtr<MBXMemoryCache> cache;
    };

    // Guarded by `lock`. Both lists have room for every record, so moving records never
    // allocates. Front of usedCaches: read most recently.
    std::vector<CacheRecord*> usedCaches;
    std::vector<CacheRecord*> freeCaches;
    std::array<CacheRecord, kPoolSize> records;
    size_t recordCount = 0;
};

#include "mxf/MBXMemoryCacheManager.h"

#include <new>
#include <utility>

#include "foundation/CUAutoLock.h"
#include "mxf/MXFError.h"

namespace {
// Function statics, so that a stream made while another static object is constructed finds
// them ready.
CURecursiveLock& ModuleCacheLock() {
    static CURecursiveLock lock;
    return lock;
}
// Guarded by ModuleCacheLock().
CUSharedPtr<MBXMemoryCacheManager>& Instance() {
    static CUSharedPtr<MBXMemoryCacheManager> instance;
    return instance;
}
// The part of a result that tells failure; the high half names the layer.
constexpr uint32_t kFailureBits = 0xFFFF;
}  // namespace

MBXMemoryCacheManager* MBXMemoryCacheManager::GetInstance() {
    CUAutoLock guard(&ModuleCacheLock());
    CUSharedPtr<MBXMemoryCacheManager>& instance = Instance();
    if (!instance) {
        CUSharedPtr<MBXMemoryCacheManager> made = CUCreate<MBXMemoryCacheManager>();
        if (!made || (made->Init() & kFailureBits) != 0) return nullptr;
        instance = std::move(made);
    }
    return instance.Get();
}

MBXMemoryCacheManager* MBXMemoryCacheManager::GetExisting() {
    CUAutoLock guard(&ModuleCacheLock());
    return Instance().Get();
}

void MBXMemoryCacheManager::Shutdown() {
    CUAutoLock guard(&ModuleCacheLock());
    Instance() = nullptr;
}

uint32_t MBXMemoryCacheManager::Init() {
    CUAutoLock guard(&lock);
    try {
        usedCaches.reserve(kPoolSize);
        freeCaches.reserve(kPoolSize);
    } catch (const std::bad_alloc&) {
        return MBXCacheErrorMemory;
    }
    for (size_t round = 0; round < kPoolSize && recordCount < records.size(); ++round) {
        CUSharedPtr<MBXMemoryCache> cache = CUCreate<MBXMemoryCache>();
        if (!cache) return MBXCacheErrorMemory;
        // Without its 4 MiB a cache is left out; a smaller pool still serves every reader.
        if ((cache->Init() & kFailureBits) != 0) continue;
        CacheRecord& record = records[recordCount++];
        record.cache = std::move(cache);
        freeCaches.push_back(&record);
    }
    return MXFErrorNone;
}

uint32_t MBXMemoryCacheManager::Acquire(IMemoryCacheManagerAccess* client) {
    if (!client) return MXFErrorNone;
    CUAutoLock guard(&lock);
    CacheRecord* record = MBXMoveToFront(usedCaches, &CacheRecord::owner, client);
    if (!record) {
        if (!freeCaches.empty()) {
            record = freeCaches.back();
            freeCaches.pop_back();
        } else if (!usedCaches.empty()) {
            record = usedCaches.back();
            usedCaches.pop_back();
            record->cache->Reset();
            client->ClearCache();
        } else {
            client->ClearCache();
            return MXFErrorNone;
        }
        record->owner = client;
        usedCaches.insert(usedCaches.begin(), record);
    }
    client->SetCache(record->cache.Get());
    return MXFErrorNone;
}

uint32_t MBXMemoryCacheManager::Release(IMemoryCacheManagerAccess* client) {
    if (!client) return MXFErrorNone;
    CUAutoLock guard(&lock);
    for (auto at = usedCaches.begin(); at != usedCaches.end();) {
        if ((*at)->owner == client) {
            (*at)->cache->Reset();
            (*at)->owner = nullptr;
            freeCaches.push_back(*at);
            at = usedCaches.erase(at);
        } else {
            ++at;
        }
    }
    return MXFErrorNone;
}

#include "mxf/CacheFileStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <string>

#include "foundation/CUAutoLock.h"
#include "foundation/CUPosixFile.h"
#include "mxf/MBXMemoryCacheManager.h"

namespace {
constexpr uint64_t kBlockSize = MBXMemoryCache::kBlockSize;
constexpr uint64_t kOffsetMask = MBXMemoryCache::kBlockOffsetMask;
}  // namespace

CUSharedPtr<CacheFileStream> CacheFileStream::Create(const CUSharedPtr<CUStringWin>& path) {
    CUSharedPtr<CacheFileStream> stream(new (std::nothrow) CacheFileStream());
    // Without its lock a stream could not keep its reads whole.
    if (!stream || !stream->lock || !path) return nullptr;
    std::string native;
    if (!CUPosixFile::NativePath(*path, &native)) return nullptr;
    CUPosixFile file;
    if (!file.Open(native, O_RDONLY)) return nullptr;
    struct stat info {};
    // Only a regular file can be read at explicit positions.
    if (!file.Stat(&info) || !S_ISREG(info.st_mode)) return nullptr;
    stream->handle = file.Release();
    stream->size = static_cast<uint64_t>(info.st_size);
    stream->rangeStart = 0;
    stream->rangeLength = stream->size;
    // The pool is made before the first read; a stream without one opens all the same.
    MBXMemoryCacheManager::GetInstance();
    return stream;
}

CacheFileStream::~CacheFileStream() {
    if (handle >= 0) ::close(handle);
    // A manager that is gone has taken the cache with it; none is made just to give it back.
    if (MBXMemoryCacheManager* manager = MBXMemoryCacheManager::GetExisting()) {
        manager->Release(this);
    }
}

bool CacheFileStream::IsReadable() const {
    return handle >= 0;
}

bool CacheFileStream::IsSeekable() const {
    return IsReadable();
}

uint64_t CacheFileStream::Read(void* buffer, uint64_t count, int64_t offset, uint32_t origin) {
    try {
        CUAutoLock guard(lock.Get());
        return ReadLocked(static_cast<uint8_t*>(buffer), count, offset, origin);
    } catch (...) {
        return 0;
    }
}

uint64_t CacheFileStream::ReadLocked(uint8_t* buffer, uint64_t count, int64_t offset,
                                     uint32_t origin) {
    uint64_t at = 0;
    if (!buffer || !IsReadable() || count == 0 || !ResolvePosition(offset, origin, &at) ||
        at >= size) {
        return 0;
    }
    const uint64_t wanted = std::min(CountInRange(at, count), size - at);
    if (wanted == 0) return 0;
    MBXMemoryCacheManager* manager = MBXMemoryCacheManager::GetInstance();
    if (!manager) return 0;
    // On every read: this is what makes the file the most recently read one, and what gets a
    // stream that lost its cache a new one.
    manager->Acquire(this);
    if (!cache) return 0;
    for (uint64_t remaining = wanted; remaining > 0;) {
        uint64_t got = ReadWholeBlocks(buffer, at, remaining);
        if (got == 0) got = ReadPiece(*manager, buffer, at, remaining);
        if (got == 0) return 0;
        buffer += got;
        at += got;
        remaining -= got;
        position = at;
    }
    return wanted;
}

uint64_t CacheFileStream::ReadWholeBlocks(uint8_t* buffer, uint64_t at, uint64_t count) {
    if ((at & kOffsetMask) != 0 || count < kBlockSize || !cache) return 0;
    uint64_t run = 0;
    while (count - run >= kBlockSize && !cache->Holds(lentAt, at + run)) run += kBlockSize;
    if (run == 0) return 0;
    bool failed = false;
    const uint64_t got = CUPosixFile::ReadAt(handle, buffer, run, at, &failed);
    return failed || got != run ? 0 : run;
}

uint64_t CacheFileStream::ReadPiece(MBXMemoryCacheManager& manager, uint8_t* buffer, uint64_t at,
                                    uint64_t count) {
    for (int tries = 0; cache && tries < kPieceTries; ++tries) {
        uint64_t copied = 0;
        MBXBlockAnswer answer = ReadFromCache(buffer, at, count, &copied);
        if (answer == MBXBlockAnswer::Missing) answer = ReadThrough(buffer, at, count, &copied);
        if (answer == MBXBlockAnswer::Found) return copied;  // 0: the file failed us
        // Every block pinned by readers that lost this cache: go around it.
        if (answer == MBXBlockAnswer::Missing) break;
        // Stolen since our Acquire; no cache lock is held here, so the order stays.
        manager.Acquire(this);
    }
    // Streams taking the pool from each other faster than a piece can be read still get the
    // right bytes, uncached.
    return ReadDirect(buffer, at, count);
}

MBXBlockAnswer CacheFileStream::ReadFromCache(uint8_t* buffer, uint64_t at, uint64_t count,
                                              uint64_t* copied) {
    return cache->CopyFromBlock(lentAt, at, buffer, count, copied);
}

MBXBlockAnswer CacheFileStream::ReadThrough(uint8_t* buffer, uint64_t at, uint64_t count,
                                            uint64_t* copied) {
    MBXMemoryCache* const filling = cache;
    const uint64_t key = at & ~kOffsetMask;
    MBXBlockRecord* block = nullptr;
    const MBXBlockAnswer answer = filling->PinBlock(lentAt, key, &block);
    if (answer != MBXBlockAnswer::Found) return answer;
    // Unlocked: the pinned block is written by us alone, whoever owns the cache meanwhile. The
    // whole block is read, whatever the piece asks for.
    bool failed = false;
    const uint64_t filled = CUPosixFile::ReadAt(handle, block->data, kBlockSize, key, &failed);
    *copied = filling->UnpinBlock(block, lentAt, failed ? 0 : filled, at - key, buffer, count);
    return MBXBlockAnswer::Found;
}

uint64_t CacheFileStream::ReadDirect(uint8_t* buffer, uint64_t at, uint64_t count) {
    const uint64_t piece = std::min(count, kBlockSize - (at & kOffsetMask));
    bool failed = false;
    const uint64_t got = CUPosixFile::ReadAt(handle, buffer, piece, at, &failed);
    return failed ? 0 : got;
}

uint64_t CacheFileStream::Seek(int64_t offset, uint32_t origin) {
    CUAutoLock guard(lock.Get());
    if (!IsSeekable()) return position;
    // Unsigned arithmetic: a position out of reach is kept as it is and reads nothing.
    const uint64_t delta = static_cast<uint64_t>(offset);
    switch (origin) {
        case CUStreamOriginBegin:
            position = delta;
            break;
        case CUStreamOriginCurrent:
            position += delta;
            break;
        case CUStreamOriginEnd:
            position = size + delta;
            break;
        default:
            break;
    }
    return position;
}

void CacheFileStream::SetCache(MBXMemoryCache* given) {
    CUAutoLock guard(lock.Get());
    cache = given;
    lentAt = given ? given->Generation() : 0;
}

void CacheFileStream::ClearCache() {
    CUAutoLock guard(lock.Get());
    cache = nullptr;
    lentAt = 0;
}

MBXMemoryCache* CacheFileStream::CurrentCache() const {
    CUAutoLock guard(lock.Get());
    return cache;
}

#include "mxf/MBXMemoryCache.h"

#include <algorithm>

#include <cstring>
#include <new>

#include "foundation/CUAutoLock.h"
#include "mxf/MXFError.h"

uint32_t MBXMemoryCache::Init() {
    CUAutoLock guard(&lock);
    try {
        usedBlocks.reserve(kBlockCount);
        freeBlocks.reserve(kBlockCount);
    } catch (const std::bad_alloc&) {
        return MBXCacheErrorMemory;
    }
    // Left uninitialised: no byte of a block is read before a fill has written it, and pages
    // that no file ever reaches cost nothing.
    memory.reset(new (std::nothrow) uint8_t[kMemorySize]);
    if (!memory) return MBXCacheErrorMemory;
    for (size_t i = 0; i < kBlockCount; ++i) {
        records[i].data = memory.get() + (i << 16);
        freeBlocks.push_back(&records[i]);
    }
    return MXFErrorNone;
}

MBXBlockRecord* MBXMemoryCache::Touch(uint64_t key) {
    return MBXMoveToFront(usedBlocks, &MBXBlockRecord::key, key);
}

MBXBlockRecord* MBXMemoryCache::FindOrTake(uint64_t key) {
    if (MBXBlockRecord* hit = Touch(key)) return hit;
    // Served from the back of each list; a pinned block belongs to a reader still filling it.
    const auto unpinned = [](const MBXBlockRecord* block) { return block->pins == 0; };
    std::vector<MBXBlockRecord*>* from = &freeBlocks;
    auto found = std::find_if(freeBlocks.rbegin(), freeBlocks.rend(), unpinned);
    if (found == freeBlocks.rend()) {
        from = &usedBlocks;
        found = std::find_if(usedBlocks.rbegin(), usedBlocks.rend(), unpinned);
        if (found == usedBlocks.rend()) return nullptr;
    }
    MBXBlockRecord* block = *found;
    from->erase(std::next(found).base());
    block->key = key;
    block->length = 0;
    usedBlocks.insert(usedBlocks.begin(), block);
    return block;
}

uint8_t* MBXMemoryCache::AcquireBlock(uint64_t key) {
    CUAutoLock guard(&lock);
    MBXBlockRecord* block = FindOrTake(key);
    return block ? block->data : nullptr;
}

void MBXMemoryCache::DropBlock(uint64_t key) {
    CUAutoLock guard(&lock);
    for (auto at = usedBlocks.begin(); at != usedBlocks.end();) {
        if ((*at)->key == key) {
            (*at)->length = 0;
            freeBlocks.push_back(*at);
            at = usedBlocks.erase(at);
        } else {
            ++at;
        }
    }
}

uint32_t MBXMemoryCache::Reset() {
    CUAutoLock guard(&lock);
    while (!usedBlocks.empty()) {
        usedBlocks.back()->length = 0;
        freeBlocks.push_back(usedBlocks.back());
        usedBlocks.pop_back();
    }
    ++generation;
    return MXFErrorNone;
}

uint64_t MBXMemoryCache::Generation() {
    CUAutoLock guard(&lock);
    return generation;
}

MBXBlockAnswer MBXMemoryCache::CopyFromBlock(uint64_t lentAt, uint64_t position, uint8_t* to,
                                             uint64_t count, uint64_t* copied) {
    CUAutoLock guard(&lock);
    if (lentAt != generation) return MBXBlockAnswer::Stale;
    const MBXBlockRecord* block = Touch(position & ~kBlockOffsetMask);
    const uint64_t offset = position & kBlockOffsetMask;
    // A block shorter than the file says (the file shrank on disk) goes back to the file.
    if (!block || offset >= block->length) return MBXBlockAnswer::Missing;
    *copied = std::min(count, block->length - offset);
    std::memcpy(to, block->data + offset, *copied);
    return MBXBlockAnswer::Found;
}

bool MBXMemoryCache::Holds(uint64_t lentAt, uint64_t key) {
    CUAutoLock guard(&lock);
    if (lentAt != generation) return false;
    return std::any_of(usedBlocks.begin(), usedBlocks.end(),
                       [key](const MBXBlockRecord* block) { return block->key == key; });
}

MBXBlockAnswer MBXMemoryCache::PinBlock(uint64_t lentAt, uint64_t key, MBXBlockRecord** pinned) {
    CUAutoLock guard(&lock);
    if (lentAt != generation) return MBXBlockAnswer::Stale;
    MBXBlockRecord* block = FindOrTake(key);
    // Two fills of one block never overlap: the second reader goes around the cache.
    if (!block || block->pins > 0) return MBXBlockAnswer::Missing;
    block->length = 0;
    ++block->pins;
    *pinned = block;
    return MBXBlockAnswer::Found;
}

uint64_t MBXMemoryCache::UnpinBlock(MBXBlockRecord* block, uint64_t lentAt, uint64_t filled,
                                    uint64_t offset, uint8_t* to, uint64_t count) {
    CUAutoLock guard(&lock);
    --block->pins;
    // Unless the generation moved on, the block is still in usedBlocks under its key.
    const bool current = lentAt == generation;
    if (filled <= offset) {
        if (current) DropBlock(block->key);
        return 0;
    }
    if (current) block->length = filled;
    const uint64_t n = std::min(count, filled - offset);
    std::memcpy(to, block->data + offset, n);
    return n;
}

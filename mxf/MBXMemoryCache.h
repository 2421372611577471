// MBXMemoryCache: 64 blocks of 64 KiB holding the bytes of one file at a time; the block touched
// longest ago is reused first.
//
// Ownership: the cache manager owns every cache and lends it to one reader at a time. Init takes
// the 4 MiB once; a block's `data` never moves until the cache is destroyed.
// Threads: everything below is guarded by `lock`, and the lock is held only for list work and
// for copying out of a block. Reading the file into a block runs outside the lock, with the block
// pinned: a pinned block is handed to nobody, whoever owns the cache by then.
// Changing hands: a cache passes to another file only through Reset, which advances `generation`.
// A reader names the generation it was lent the cache under; every operation that finds, takes or
// publishes a block checks it under the lock and answers Stale rather than touch blocks of another
// file. A reader whose fill was overtaken by a Reset may still copy out what it read, since those
// bytes came from its own file into a block that nobody else could take; the block just isn't
// published, and stays on the free list.
// Failures: Init gives MBXCacheErrorMemory when the memory or the lists can't be had.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "foundation/CUObject.h"
#include "foundation/CURecursiveLock.h"

// Move to front, the one look-up of both levels of the pool: the first record whose `field`
// equals `key` moves to the front of `list` and is returned; null when none does. One walk of
// the list; never allocates.
template <class Record, class Field>
Record* MBXMoveToFront(std::vector<Record*>& list, Field Record::*field, const Field& key) {
    for (auto at = list.begin(); at != list.end(); ++at) {
        if ((*at)->*field == key) {
            Record* found = *at;
            std::rotate(list.begin(), at, at + 1);
            return found;
        }
    }
    return nullptr;
}

// One block of a cache. Guarded by the cache's `lock`, except `data`, which never changes.
struct MBXBlockRecord {
    uint64_t key = 0;         // file offset of the block's first byte, a multiple of the block size
    uint8_t* data = nullptr;  // the block's bytes; fixed at Init
    uint64_t length = 0;      // bytes of the file the block holds; 0 until a fill is published
    uint32_t pins = 0;        // readers filling the block outside the lock
};

enum class MBXBlockAnswer {
    Found,    // the block was there (or is now pinned for the caller)
    Missing,  // no block holds the bytes (or none can be pinned)
    Stale,    // the cache has changed hands since the caller was lent it
};

class MBXMemoryCache : public CUObject {
public:
    static constexpr uint64_t kBlockSize = 0x10000;
    static constexpr uint64_t kBlockOffsetMask = kBlockSize - 1;
    static constexpr size_t kBlockCount = 64;
    static constexpr uint64_t kMemorySize = kBlockSize * kBlockCount;

    MBXMemoryCache() = default;
    MBXMemoryCache(const MBXMemoryCache&) = delete;
    MBXMemoryCache& operator=(const MBXMemoryCache&) = delete;

    // Takes the memory and puts every block on the free list. Once; 0 or MBXCacheErrorMemory.
    uint32_t Init();
    // The used block of `key`, moved to the front; null when none. The caller holds `lock`.
    MBXBlockRecord* Touch(uint64_t key);
    // The block of `key`: the one that holds it, or the free block at the back of the free list,
    // or else the used block touched longest ago, now keyed for `key` and empty. Null when every
    // block is pinned.
    uint8_t* AcquireBlock(uint64_t key);
    // Forgets the block of `key`, whose read failed.
    void DropBlock(uint64_t key);
    // Forgets every block and starts a new generation: the cache may now go to another file.
    uint32_t Reset();
    uint64_t Generation();

    // A reader's side; each takes `lock` and first checks `lentAt`, the generation the reader was
    // lent the cache under.
    //
    // Copies up to `count` bytes of the file at `position`, to the end of its block at most.
    MBXBlockAnswer CopyFromBlock(uint64_t lentAt, uint64_t position, uint8_t* to, uint64_t count,
                                 uint64_t* copied);
    // Whether a used block holds `key` under the generation `lentAt`; no block moves.
    bool Holds(uint64_t lentAt, uint64_t key);
    // Acquires the block of `key` and pins it, empty, so that the caller can fill it unlocked.
    MBXBlockAnswer PinBlock(uint64_t lentAt, uint64_t key, MBXBlockRecord** pinned);
    // Ends a fill that brought `filled` bytes (0 for a failed read): copies up to `count` bytes
    // from `offset` in the block, publishes the block if the generation still holds (drops it if
    // the read failed), and unpins it. Gives the bytes copied, 0 when `offset` wasn't reached.
    uint64_t UnpinBlock(MBXBlockRecord* block, uint64_t lentAt, uint64_t filled, uint64_t offset,
                        uint8_t* to, uint64_t count);

    CURecursiveLock lock;

private:
    // The record for AcquireBlock; `lock` held.
    MBXBlockRecord* FindOrTake(uint64_t key);

    // Guarded by `lock`. Both lists have room for every record, so moving records never
    // allocates. Front of usedBlocks: touched most recently.
    std::vector<MBXBlockRecord*> usedBlocks;
    std::vector<MBXBlockRecord*> freeBlocks;
    uint64_t generation = 0;
    // Fixed after Init.
    std::unique_ptr<uint8_t[]> memory;
    std::array<MBXBlockRecord, kBlockCount> records;
};

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include "foundation/CUAutoLock.h"
#include "mxf/MBXMemoryCache.h"

namespace {

using enum MBXBlockAnswer;
constexpr uint64_t kBlock = MBXMemoryCache::kBlockSize;

class MBXMemoryCacheTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(cache->Init(), 0u); }

    bool Holds(uint64_t key) {
        CUAutoLock guard(&cache->lock);
        return cache->Touch(key) != nullptr;
    }

    CUSharedPtr<MBXMemoryCache> cache = CUCreate<MBXMemoryCache>();
};

TEST_F(MBXMemoryCacheTest, SixtyFifthBlockReusesTheLeastRecentlyTouched) {
    std::vector<uint8_t*> data;
    for (uint64_t i = 0; i < MBXMemoryCache::kBlockCount; ++i) {
        data.push_back(cache->AcquireBlock(i * kBlock));
    }
    EXPECT_EQ(std::set<uint8_t*>(data.begin(), data.end()).size(), data.size());
    // Block 0 came first, but a hit moves it to the front: block 1 is now the oldest.
    EXPECT_TRUE(Holds(0));
    EXPECT_EQ(cache->AcquireBlock(64 * kBlock), data[1]);
    EXPECT_FALSE(Holds(kBlock));
    EXPECT_EQ(cache->AcquireBlock(0), data[0]);
}

TEST_F(MBXMemoryCacheTest, DroppedAndResetBlocksAreFreeAgain) {
    uint8_t* first = cache->AcquireBlock(0);
    cache->AcquireBlock(kBlock);
    cache->DropBlock(0);
    EXPECT_FALSE(Holds(0));
    EXPECT_TRUE(Holds(kBlock));
    // The dropped block went to the back of the free list, which serves the next key.
    EXPECT_EQ(cache->AcquireBlock(5 * kBlock), first);

    const uint64_t before = cache->Generation();
    EXPECT_EQ(cache->Reset(), 0u);
    EXPECT_FALSE(Holds(kBlock));
    EXPECT_FALSE(Holds(5 * kBlock));
    EXPECT_NE(cache->Generation(), before);
}

TEST_F(MBXMemoryCacheTest, ReaderOfAnEarlierGenerationIsTurnedAway) {
    const uint64_t lent = cache->Generation();
    MBXBlockRecord* block = nullptr;
    ASSERT_EQ(cache->PinBlock(lent, kBlock, &block), Found);
    std::memset(block->data, 7, kBlock);
    uint8_t out[4] = {};
    // A fill shorter than the block publishes only what came.
    EXPECT_EQ(cache->UnpinBlock(block, lent, 100, 98, out, 4), 2u);
    uint64_t copied = 0;
    EXPECT_EQ(cache->CopyFromBlock(lent, kBlock + 99, out, 4, &copied), Found);
    EXPECT_EQ(copied, 1u);
    EXPECT_EQ(cache->CopyFromBlock(lent, kBlock + 100, out, 4, &copied), Missing);

    cache->Reset();  // the cache goes to another file
    EXPECT_EQ(cache->CopyFromBlock(lent, kBlock, out, 4, &copied), Stale);
    EXPECT_EQ(cache->PinBlock(lent, kBlock, &block), Stale);

    // A failed fill under the current generation leaves no block behind.
    const uint64_t now = cache->Generation();
    ASSERT_EQ(cache->PinBlock(now, 0, &block), Found);
    EXPECT_EQ(cache->UnpinBlock(block, now, 0, 0, out, 4), 0u);
    EXPECT_FALSE(Holds(0));
}

TEST_F(MBXMemoryCacheTest, FillOvertakenByTheftStaysItsReadersAlone) {
    const uint64_t lent = cache->Generation();
    MBXBlockRecord* pinned = nullptr;
    ASSERT_EQ(cache->PinBlock(lent, 0, &pinned), Found);
    cache->Reset();
    const uint64_t next = cache->Generation();

    // The new owner takes every block it can, and never the one still being filled.
    for (uint64_t i = 1; i <= MBXMemoryCache::kBlockCount; ++i) {
        EXPECT_NE(cache->AcquireBlock(i * kBlock), pinned->data);
    }
    std::memset(pinned->data, 9, kBlock);
    uint8_t out[2] = {};
    EXPECT_EQ(cache->UnpinBlock(pinned, lent, kBlock, 0, out, 2), 2u);
    EXPECT_EQ(out[0], 9);
    // Not published for the new owner; once unpinned, the block serves it again.
    uint64_t copied = 0;
    EXPECT_EQ(cache->CopyFromBlock(next, 0, out, 2, &copied), Missing);
    EXPECT_EQ(cache->AcquireBlock(100 * kBlock), pinned->data);
}

}  // namespace

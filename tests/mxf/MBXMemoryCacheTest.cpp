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

TEST_F(MBXMemoryCacheTest, ReusesTheBlockTouchedLongestAgo) {
    std::vector<uint8_t*> data;
    for (uint64_t i = 0; i < MBXMemoryCache::kBlockCount; ++i)
        data.push_back(cache->AcquireBlock(i * kBlock));
    EXPECT_EQ(std::set<uint8_t*>(data.begin(), data.end()).size(), data.size());
    // Block 0 came first, but a hit moves it to the front: block 1 is now the oldest.
    EXPECT_TRUE(Holds(0));
    EXPECT_EQ(cache->AcquireBlock(64 * kBlock), data[1]);
    EXPECT_FALSE(Holds(kBlock));
    EXPECT_EQ(cache->AcquireBlock(0), data[0]);

    // A dropped block goes to the back of the free list, which serves the next new key.
    cache->DropBlock(2 * kBlock);
    EXPECT_FALSE(Holds(2 * kBlock));
    EXPECT_EQ(cache->AcquireBlock(65 * kBlock), data[2]);
    EXPECT_EQ(cache->Reset(), 0u);
    EXPECT_FALSE(Holds(0));
    EXPECT_FALSE(Holds(65 * kBlock));
}

// A cache stolen from a reader: its look-ups are turned away, and a fill it had in flight
// stays its own until it ends.
TEST_F(MBXMemoryCacheTest, ReaderOfAnEarlierGenerationTouchesNoBlockOfTheNext) {
    const uint64_t lent = cache->Generation();
    MBXBlockRecord* pinned = nullptr;
    ASSERT_EQ(cache->PinBlock(lent, 0, &pinned), Found);
    cache->Reset();
    const uint64_t next = cache->Generation();
    uint8_t out[2] = {};
    uint64_t copied = 0;
    EXPECT_EQ(cache->CopyFromBlock(lent, 0, out, 2, &copied), Stale);
    EXPECT_EQ(cache->PinBlock(lent, kBlock, &pinned), Stale);

    // The new owner takes every block it can, and never the one still being filled.
    for (uint64_t i = 1; i <= MBXMemoryCache::kBlockCount; ++i)
        EXPECT_NE(cache->AcquireBlock(i * kBlock), pinned->data);
    std::memset(pinned->data, 9, kBlock);
    EXPECT_EQ(cache->UnpinBlock(pinned, lent, kBlock, 0, out, 2), 2u);
    EXPECT_EQ(out[0], 9);
    // Not published for the new owner; once unpinned, the block serves it again.
    EXPECT_EQ(cache->CopyFromBlock(next, 0, out, 2, &copied), Missing);
    EXPECT_EQ(cache->AcquireBlock(100 * kBlock), pinned->data);
}

}  // namespace

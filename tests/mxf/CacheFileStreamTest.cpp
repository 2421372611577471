#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "mxf/CacheFileStream.h"
#include "mxf/MBXMemoryCacheManager.h"
#include "support/TestFiles.h"

namespace {

using namespace qvtest;
constexpr uint64_t kBlock = MBXMemoryCache::kBlockSize;
constexpr size_t kPool = MBXMemoryCacheManager::kPoolSize;

// Each test starts with a fresh pool, whatever ran before.
class CacheFileStreamTest : public testing::Test {
protected:
    void SetUp() override { MBXMemoryCacheManager::Shutdown(); }
    void TearDown() override { MBXMemoryCacheManager::Shutdown(); }

    CUSharedPtr<CacheFileStream> Open(const std::string& name, const std::vector<uint8_t>& bytes) {
        WriteFile(dir.Native(name), bytes);
        return CacheFileStream::Create(dir.Path(name));
    }

    TempDirectory dir;
};

std::vector<uint8_t> ReadBytes(CacheFileStream& stream, uint64_t at, uint64_t count) {
    std::vector<uint8_t> out(count);
    out.resize(stream.Read(out.data(), count, static_cast<int64_t>(at), CUStreamOriginBegin));
    return out;
}

// The same in pieces smaller than a block, so that every byte goes through the cache.
std::vector<uint8_t> ReadInPieces(CacheFileStream& stream, uint64_t count) {
    std::vector<uint8_t> out;
    for (uint64_t at = 0; at < count; at += 4096) {
        const std::vector<uint8_t> piece =
            ReadBytes(stream, at, std::min<uint64_t>(4096, count - at));
        out.insert(out.end(), piece.begin(), piece.end());
    }
    return out;
}

// "f<i>"; built by hand, since g++ 12 warns falsely about "f" + std::to_string(i) at -O2.
std::string FileName(size_t i) {
    char name[32];
    std::snprintf(name, sizeof name, "f%zu", i);
    return name;
}

std::vector<uint8_t> Slice(const std::vector<uint8_t>& bytes, uint64_t at, uint64_t count) {
    return std::vector<uint8_t>(bytes.begin() + at, bytes.begin() + at + count);
}

TEST_F(CacheFileStreamTest, ReadsAtBlockEdgesAndTheShortLastBlock) {
    const std::vector<uint8_t> bytes = Pattern(3 * kBlock + 100, 5);
    CUSharedPtr<CacheFileStream> stream = Open("f", bytes);
    ASSERT_TRUE(stream);
    EXPECT_EQ(ReadBytes(*stream, kBlock - 1, 1), Slice(bytes, kBlock - 1, 1));
    EXPECT_EQ(ReadBytes(*stream, kBlock, 1), Slice(bytes, kBlock, 1));
    EXPECT_EQ(ReadBytes(*stream, kBlock - 1, 2), Slice(bytes, kBlock - 1, 2));
    EXPECT_EQ(stream->position, kBlock + 1);
    // Cut at the end of the file; the short last block counts as read.
    EXPECT_EQ(ReadBytes(*stream, 3 * kBlock + 40, 1000), Slice(bytes, 3 * kBlock + 40, 60));
    EXPECT_EQ(ReadBytes(*stream, 0, bytes.size() + 1), bytes);
    EXPECT_TRUE(ReadBytes(*stream, bytes.size(), 1).empty());

    // Origins 1 and 2; a Seek past the end succeeds, and the read there gives nothing.
    uint8_t two[2] = {};
    EXPECT_EQ(stream->Read(two, 2, -2, CUStreamOriginEnd), 2u);
    EXPECT_EQ(two[1], bytes.back());
    EXPECT_EQ(stream->Seek(bytes.size() + 10, CUStreamOriginBegin), bytes.size() + 10);
    EXPECT_EQ(stream->Read(two, 1, 0, CUStreamOriginCurrent), 0u);
}

TEST_F(CacheFileStreamTest, OpensRegularFilesOnly) {
    CUSharedPtr<CacheFileStream> empty = Open("empty", {});
    ASSERT_TRUE(empty);
    EXPECT_TRUE(ReadBytes(*empty, 0, 10).empty());
    EXPECT_FALSE(CacheFileStream::Create(dir.Path("missing")));
    EXPECT_FALSE(CacheFileStream::Create(CUCreate<CUStringWin>(dir.root.c_str())));
}

TEST_F(CacheFileStreamTest, FileShrunkOnDiskFailsTheReadBehindTheLastGoodPiece) {
    CUSharedPtr<CacheFileStream> stream = Open("f", Pattern(3 * kBlock));
    ASSERT_TRUE(stream);
    std::filesystem::resize_file(dir.Native("f"), 100);
    std::vector<uint8_t> out(3 * kBlock);
    EXPECT_EQ(stream->Read(out.data(), out.size(), 0, CUStreamOriginBegin), 0u);
    EXPECT_EQ(stream->position, 100u);
    EXPECT_EQ(Slice(out, 0, 100), Pattern(100));
}

TEST_F(CacheFileStreamTest, EleventhFileStealsTheCacheOfTheOneReadLongestAgo) {
    std::vector<std::vector<uint8_t>> bytes;
    std::vector<CUSharedPtr<CacheFileStream>> streams;
    for (size_t i = 0; i <= kPool; ++i) {
        bytes.push_back(Pattern(2 * kBlock + i, static_cast<uint8_t>(i + 1)));
        streams.push_back(Open(FileName(i), bytes[i]));
        ASSERT_TRUE(streams[i]);
    }
    const auto readsRight = [&](size_t i) {
        return ReadInPieces(*streams[i], bytes[i].size()) == bytes[i];
    };
    std::vector<MBXMemoryCache*> caches;
    EXPECT_TRUE(readsRight(0));
    // A file changed on disk after caching keeps the cached bytes.
    const std::vector<uint8_t> changed = Pattern(bytes[0].size(), 99);
    WriteFile(dir.Native("f0"), changed);
    EXPECT_TRUE(readsRight(0));
    for (size_t i = 0; i < kPool; ++i) {
        EXPECT_TRUE(readsRight(i));
        caches.push_back(streams[i]->CurrentCache());
    }
    EXPECT_EQ(std::set<MBXMemoryCache*>(caches.begin(), caches.end()).size(), kPool);

    EXPECT_TRUE(readsRight(kPool));
    EXPECT_EQ(streams[kPool]->CurrentCache(), caches[0]);
    // The loser's cache was reset: its next read comes from disk, into the cache of the file
    // that is now the oldest.
    EXPECT_EQ(ReadInPieces(*streams[0], changed.size()), changed);
    EXPECT_EQ(streams[0]->CurrentCache(), caches[1]);
    EXPECT_TRUE(readsRight(1));
    EXPECT_EQ(streams[1]->CurrentCache(), caches[2]);
}

// A read of whole blocks that the cache does not hold goes straight to the file and leaves the
// cache alone; a block the cache holds is still served from it.
TEST_F(CacheFileStreamTest, WholeBlocksBypassTheCache) {
    const std::vector<uint8_t> bytes = Pattern(3 * kBlock, 7);
    CUSharedPtr<CacheFileStream> stream = Open("f", bytes);
    ASSERT_EQ(ReadBytes(*stream, kBlock, 10), Slice(bytes, kBlock, 10));  // block 1 cached
    const std::vector<uint8_t> changed = Pattern(bytes.size(), 70);
    WriteFile(dir.Native("f"), changed);
    std::vector<uint8_t> expected = changed;
    std::copy(bytes.begin() + kBlock, bytes.begin() + 2 * kBlock, expected.begin() + kBlock);
    EXPECT_EQ(ReadBytes(*stream, 0, 3 * kBlock), expected);
}

TEST_F(CacheFileStreamTest, ReleasedCacheIsTheNextOneTaken) {
    std::vector<CUSharedPtr<CacheFileStream>> streams;
    for (int i = 0; i < 3; ++i) {
        streams.push_back(Open(FileName(i), Pattern(10)));
        ASSERT_EQ(ReadBytes(*streams.back(), 0, 1).size(), 1u);
    }
    MBXMemoryCache* released = streams[1]->CurrentCache();
    streams[1] = nullptr;
    CUSharedPtr<CacheFileStream> next = Open("next", Pattern(10));
    ASSERT_EQ(ReadBytes(*next, 0, 1).size(), 1u);
    EXPECT_EQ(next->CurrentCache(), released);
}

}  // namespace

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "foundation/CUAutoLock.h"
#include "mxf/CacheFileStream.h"
#include "mxf/MBXMemoryCacheManager.h"
#include "support/TestFiles.h"

namespace {

using namespace qvtest;
constexpr uint64_t kBlock = MBXMemoryCache::kBlockSize;
// More files than caches, so that caches are stolen all the time, in the middle of reads too.
constexpr size_t kFiles = MBXMemoryCacheManager::kPoolSize + 4;
constexpr int kRounds = 250;

// Depends on the file and on the offset, so that a byte of another file or another block
// shows.
uint8_t ByteOf(uint64_t file, uint64_t offset) {
    return static_cast<uint8_t>(((offset ^ (file << 40)) * 0x9E3779B97F4A7C15ull) >> 56);
}

// Each thread reads its stream at random places, alternating a read at an explicit offset with
// Seek and Read under the stream's lock; every delivered byte is checked. Stream 0 has four
// threads, every other stream one.
TEST(CacheFileStreamConcurrencyTest, EveryThreadGetsTheBytesOfItsOwnFile) {
    MBXMemoryCacheManager::Shutdown();
    TempDirectory dir;
    std::vector<std::vector<uint8_t>> contents;
    std::vector<CUSharedPtr<CacheFileStream>> streams;
    for (size_t file = 0; file < kFiles; ++file) {
        std::vector<uint8_t> bytes(6 * kBlock + 37 * file);
        for (uint64_t at = 0; at < bytes.size(); ++at) bytes[at] = ByteOf(file, at);
        WriteFile(dir.Native(std::to_string(file)), bytes);
        contents.push_back(std::move(bytes));
        streams.push_back(CacheFileStream::Create(dir.Path(std::to_string(file))));
        ASSERT_TRUE(streams.back());
    }
    std::vector<size_t> streamOf = {0, 0, 0};
    for (size_t file = 0; file < kFiles; ++file) streamOf.push_back(file);
    std::barrier start(static_cast<std::ptrdiff_t>(streamOf.size()));
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (size_t t = 0; t < streamOf.size(); ++t) {
        threads.emplace_back([&, t] {
            CacheFileStream& stream = *streams[streamOf[t]];
            const std::vector<uint8_t>& expected = contents[streamOf[t]];
            std::mt19937_64 random(t);
            std::vector<uint8_t> out(4 * kBlock);
            start.arrive_and_wait();
            for (int round = 0; round < kRounds; ++round) {
                const uint64_t at = random() % expected.size();
                const uint64_t count = 1 + random() % out.size();
                uint64_t got = 0;
                if (round % 2 == 0) {
                    got = stream.Read(out.data(), count, static_cast<int64_t>(at), 0);
                } else {
                    CUAutoLock guard(stream.lock);
                    stream.Seek(static_cast<int64_t>(at), CUStreamOriginBegin);
                    got = stream.Read(out.data(), count, 0, CUStreamOriginCurrent);
                }
                if (got != std::min(count, expected.size() - at) ||
                    std::memcmp(out.data(), expected.data() + at, got) != 0) {
                    ++wrong;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    streams.clear();
    MBXMemoryCacheManager::Shutdown();
    EXPECT_EQ(wrong.load(), 0);
}

}  // namespace

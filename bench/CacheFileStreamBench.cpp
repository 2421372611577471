// Reading a file through the block cache against plain pread into the same buffer, with the file
// in the page cache: sequential reads of a 256 MiB file in pieces of 64 KiB, 1 MiB and 4 MiB
// (every block a miss: one read of the block and one copy out of it), and the small reads the
// MXF reader makes (every block a hit).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "mxf/CacheFileStream.h"

namespace {

constexpr uint64_t kFileSize = uint64_t{256} << 20;
constexpr uint64_t kSmallRead = 16;
constexpr uint64_t kSmallReadSpan = uint64_t{4} << 20;  // one cache's worth: all hits

// The file, written once per process and read once so that the page cache holds it.
class BenchFile {
public:
    BenchFile() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qv-bench-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) return;
        directory = pattern;
        path = directory + "/clip.mxf";
        std::vector<char> chunk(uint64_t{1} << 20);
        std::ofstream out(path, std::ios::binary);
        for (uint64_t at = 0; at < kFileSize; at += chunk.size()) {
            for (size_t i = 0; i < chunk.size(); ++i) chunk[i] = static_cast<char>((at + i) * 7);
            out.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        }
        out.close();
        std::ifstream warm(path, std::ios::binary);
        while (warm.read(chunk.data(), static_cast<std::streamsize>(chunk.size()))) {
        }
    }
    ~BenchFile() {
        std::error_code ignored;
        if (!directory.empty()) std::filesystem::remove_all(directory, ignored);
    }
    std::string directory;
    std::string path;
};

const BenchFile& File() {
    static BenchFile file;
    return file;
}

void BM_CacheFileStreamSequential(benchmark::State& state) {
    const uint64_t piece = static_cast<uint64_t>(state.range(0));
    CUSharedPtr<CacheFileStream> stream =
        CacheFileStream::Create(CUCreate<CUStringWin>(File().path.c_str()));
    if (!stream) return state.SkipWithError("no file");
    std::vector<uint8_t> buffer(piece);
    for (auto _ : state) {
        for (uint64_t at = 0; at < kFileSize; at += piece) {
            if (stream->Read(buffer.data(), piece, static_cast<int64_t>(at), 0) != piece) {
                return state.SkipWithError("short read");
            }
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileSize));
}
BENCHMARK(BM_CacheFileStreamSequential)
    ->Arg(64 << 10)
    ->Arg(1 << 20)
    ->Arg(4 << 20)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_PreadSequential(benchmark::State& state) {
    const uint64_t piece = static_cast<uint64_t>(state.range(0));
    const int descriptor = ::open(File().path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return state.SkipWithError("no file");
    std::vector<uint8_t> buffer(piece);
    for (auto _ : state) {
        for (uint64_t at = 0; at < kFileSize; at += piece) {
            if (::pread(descriptor, buffer.data(), piece, static_cast<off_t>(at)) !=
                static_cast<ssize_t>(piece)) {
                ::close(descriptor);
                return state.SkipWithError("short read");
            }
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    ::close(descriptor);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFileSize));
}
BENCHMARK(BM_PreadSequential)
    ->Arg(64 << 10)
    ->Arg(1 << 20)
    ->Arg(4 << 20)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// What the cache is for: 16-byte reads, one after the other, over blocks that stay cached.
void BM_CacheFileStreamSmallReads(benchmark::State& state) {
    CUSharedPtr<CacheFileStream> stream =
        CacheFileStream::Create(CUCreate<CUStringWin>(File().path.c_str()));
    if (!stream) return state.SkipWithError("no file");
    uint8_t buffer[kSmallRead];
    uint64_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(stream->Read(buffer, kSmallRead, static_cast<int64_t>(at), 0));
        at = (at + kSmallRead) % kSmallReadSpan;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSmallRead));
}
BENCHMARK(BM_CacheFileStreamSmallReads);

void BM_PreadSmallReads(benchmark::State& state) {
    const int descriptor = ::open(File().path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return state.SkipWithError("no file");
    uint8_t buffer[kSmallRead];
    uint64_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(::pread(descriptor, buffer, kSmallRead, static_cast<off_t>(at)));
        at = (at + kSmallRead) % kSmallReadSpan;
    }
    ::close(descriptor);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSmallRead));
}
BENCHMARK(BM_PreadSmallReads);

}  // namespace

// Opening a clip and reading every picture element through MXFStream, on clips named on the
// command line: MXFStreamBench CLIP... [benchmark flags]. bench/compare-mxf.sh makes the clips and
// runs the peers (ffprobe, cat, ffmpeg) on the same files.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "mxf/MXFError.h"
#include "mxf/MXFStream.h"

namespace {

CUSharedPtr<MXFStream> OpenClip(const std::string& path) {
    CUSharedPtr<MXFStream> stream = CUCreate<MXFStream>(CUCreate<CUStringWin>(path.c_str()));
    return stream && stream->Open() == MXFErrorNone ? stream : nullptr;
}

void Open(benchmark::State& state, const std::string& path) {
    for (auto _ : state) {
        CUSharedPtr<MXFStream> stream = OpenClip(path);
        if (!stream) state.SkipWithError("the clip does not open");
        benchmark::DoNotOptimize(stream.Get());
    }
}

// The first frame of a freshly opened clip: open, load the index of its partition, read.
void OpenAndFirstPicture(benchmark::State& state, const std::string& path) {
    std::vector<uint8_t> buffer(64 << 20);
    for (auto _ : state) {
        CUSharedPtr<MXFStream> stream = OpenClip(path);
        if (!stream || stream->ReadElement(0, 1, buffer.data(), buffer.size()) == 0)
            state.SkipWithError("no first picture");
    }
}

void ReadPictures(benchmark::State& state, const std::string& path) {
    CUSharedPtr<MXFStream> stream = OpenClip(path);
    if (!stream) {
        state.SkipWithError("the clip does not open");
        return;
    }
    std::vector<uint8_t> buffer(64 << 20);
    uint64_t bytes = 0;
    for (auto _ : state) {
        for (uint64_t frame = 0; frame < stream->frameCount; ++frame) {
            const uint64_t got = stream->ReadElement(frame, 1, buffer.data(), buffer.size());
            if (got == 0) state.SkipWithError("a picture could not be read");
            bytes += got;
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}

std::string NameOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> flags{argv[0]};
    std::vector<std::string> clips;
    for (int i = 1; i < argc; ++i) {
        if (std::string(argv[i]).rfind("--", 0) == 0)
            flags.push_back(argv[i]);
        else
            clips.emplace_back(argv[i]);
    }
    if (clips.empty()) {
        std::fprintf(stderr, "usage: MXFStreamBench CLIP... [benchmark flags]\n");
        return 2;
    }
    for (const std::string& clip : clips) {
        const std::string name = NameOf(clip);
        benchmark::RegisterBenchmark(("Open/" + name).c_str(), Open, clip)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("OpenAndFirstPicture/" + name).c_str(), OpenAndFirstPicture,
                                     clip)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("ReadPictures/" + name).c_str(), ReadPictures, clip)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
    int flagCount = static_cast<int>(flags.size());
    benchmark::Initialize(&flagCount, flags.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

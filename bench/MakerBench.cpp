// Frames per second of the whole matching image maker on a 3840 × 2160 picture, with its worker
// threads (4 on this machine's processor count): YUY2 to B, G, R, 0 through a 3D LUT (key 0x64301:
// BT.2020, LUT 22, Range2020; key 0x60111: Range709), through the `x` tables (key 0x60001), and
// through a file table (key 0x60021; its file, or the substitute the maker computes at Start).
// The second argument picks the kernel family (KernelIsa: 0 scalar, 3 the processor's best).
// bench/compare-convert.sh sets these figures beside ffmpeg's.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "image/CMBXMatchingImageMaker.h"
#include "image/KernelFinder.h"
#include "image/RowKernel.h"

namespace {

using namespace image;

constexpr int16_t kWidth = 3840, kHeight = 2160;
constexpr uint8_t kUntouched = 0xAA;

struct Case {
    const char* name;
    MatchingParameters parameters;
};

const Case kCases[] = {
    {"lut-bt2020-0x64301",
     {.sourceGamut = 3, .sourceGamma = 15, .targetGamma = 17, .outputDepth = 3}},
    {"lut-bt709-0x60111",
     {.sourceGamut = 2, .targetGamut = 0, .sourceGamma = 3, .targetGamma = 2, .outputDepth = 3}},
    {"x-tables-0x60001", {.outputDepth = 3}},
    {"file-table-0x60021", {.targetGamma = 2, .outputDepth = 3}},
};

// A picture whose colours spread over most of the table, as camera footage does: Y rises across,
// Cb down, Cr along the diagonal, each with grain; so that the file table's reads are not all
// cache hits (a constant or periodic picture would make them so).
std::vector<uint8_t> Picture() {
    std::vector<uint8_t> yuy2(size_t{kWidth} * kHeight * 2);
    std::minstd_rand grain(1);
    auto near = [&grain](int value, int spread) {
        const int v = value + static_cast<int>(grain() % (2 * spread + 1)) - spread;
        return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
    };
    for (int row = 0; row < kHeight; ++row) {
        uint8_t* line = yuy2.data() + size_t(row) * kWidth * 2;
        for (int x = 0; x < kWidth; x += 2) {
            line[x * 2 + 0] = near(16 + x * 219 / kWidth, 8);
            line[x * 2 + 1] = near(16 + row * 224 / kHeight, 4);
            line[x * 2 + 2] = near(16 + (x + 1) * 219 / kWidth, 8);
            line[x * 2 + 3] = near(16 + (x + row) * 224 / (kWidth + kHeight), 4);
        }
    }
    return yuy2;
}

template <KernelIsa kIsa>
RowKernel FindIn(uint32_t key) {
    return MakeRowKernel(PlanKernel(key), kIsa);
}

// Arguments: the case, and KernelIsa.
void BM_Maker(benchmark::State& state) {
    const Case& c = kCases[state.range(0)];
    MatchingKernelFinders finders;
    if (static_cast<KernelIsa>(state.range(1)) == KernelIsa::Scalar) {
        finders.find = FindIn<KernelIsa::Scalar>;
    }
    CMBXMatchingImageMaker maker(GetProcessorCount(), finders);
    MatchingParameters p = c.parameters;
    p.width = kWidth;
    p.height = kHeight;
    const std::vector<uint8_t> source = Picture();
    std::vector<uint8_t> destination(size_t{kWidth} * kHeight * 4, kUntouched);
    maker.SetParameters(p);
    maker.Start();  // loads or builds the tables, outside the timing
    maker.Convert(source.data(), destination.data());
    // A kernel without its table writes nothing, in no time: that would be no figure at all.
    if (destination[0] == kUntouched && destination[destination.size() - 4] == kUntouched) {
        state.SkipWithError("the kernel wrote nothing (table not loaded?)");
    }
    for (auto _ : state) {
        maker.Convert(source.data(), destination.data());
        benchmark::DoNotOptimize(destination.data());
        benchmark::ClobberMemory();
    }
    maker.Stop();
    state.SetItemsProcessed(state.iterations());  // frames
    state.SetLabel(std::string(c.name) + " " + Describe(PlanKernel(MakeKernelKey(p))) + ", " +
                   std::to_string(maker.WorkerCount()) + " workers");
}

void Cases(benchmark::internal::Benchmark* b) {
    for (int64_t c = 0; c < int64_t(std::size(kCases)); ++c) {
        for (const KernelIsa isa : {KernelIsa::Scalar, KernelIsa::Best}) b->Args({c, int64_t(isa)});
    }
}
BENCHMARK(BM_Maker)
    ->ArgNames({"case", "isa"})
    ->Apply(Cases)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

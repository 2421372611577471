// Frames per second of the row kernels on a 3840 × 2160 frame, one thread over the whole picture
// (the maker splits it into bands, one a worker): YUY2 to B, G, R, 0 through a 3D LUT (key
// 0x64301: LUT 22 with Range2020; key 0x60111: gamma 3 to 2, gamut 2 to 0, Range709), through the
// `x` tables (key 0x60001), and BGR4 through a 3D LUT (key 0x60119); the look kernel with a
// pre-scale (key 0x62001, look type 7 or above). The file tables are loaded by a maker, so
// MakerBench times them. The second argument picks the family (KernelIsa: 0 scalar, 1 SSE4.1,
// 2 AVX2).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "image/KernelFinder.h"
#include "image/RowKernel.h"
#include "image/ScalarKernels.h"

namespace {

using namespace image;

constexpr uint32_t kWidth = 3840, kHeight = 2160;

// Arguments: key, KernelIsa, and 1 for the look table.
void BM_RowKernel(benchmark::State& state) {
    const auto key = static_cast<uint32_t>(state.range(0));
    const auto isa = static_cast<KernelIsa>(state.range(1));
    const std::optional<KernelPlan> look = PlanLookKernel(key);
    const KernelPlan plan = state.range(2) && look ? *look : PlanKernel(key);
    const RowKernel kernel = MakeRowKernel(plan, isa);
    std::vector<uint8_t> source(size_t{kWidth} * kHeight * InputPixelBytes(plan.layout));
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i * 7 + (i >> 13));
    std::vector<uint8_t> destination(size_t{kWidth} * kHeight * OutputPixelBytes(plan.order));
    kernel(source.data(), destination.data(), kWidth / 4 - 1, 1, 0);  // LUTs made before timing
    for (auto _ : state) {
        kernel(source.data(), destination.data(), kWidth / 4 - 1, kHeight, 0);
        benchmark::DoNotOptimize(destination.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());  // frames
    state.SetLabel(Describe(plan));
}
// Each key in every family the processor offers (a family that does not cover the plan runs the
// next one down, so its figure repeats that one's).
void Keys(benchmark::internal::Benchmark* b) {
    constexpr int64_t kKeys[][2] = {
        {0x64301, 0}, {0x60111, 0}, {0x60001, 0}, {0x60119, 0}, {0x62001, 1}};
    for (const auto& [key, look] : kKeys) {
        for (const KernelIsa isa : {KernelIsa::Scalar, KernelIsa::Sse41, KernelIsa::Avx2}) {
            if (IsaAvailable(isa)) b->Args({key, int64_t(isa), look});
        }
    }
}
BENCHMARK(BM_RowKernel)
    ->ArgNames({"key", "isa", "look"})
    ->Apply(Keys)
    ->Unit(benchmark::kMillisecond);

}  // namespace

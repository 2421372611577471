// Frames per second of the row kernels on a 3840 × 2160 frame, one thread over the whole picture
// (the maker splits it into bands, one a worker): YUY2 to B, G, R, 0 through a 3D LUT (key
// 0x60111: gamma 3 to 2, gamut 2 to 0), through the `x` tables (key 0x60001), and BGR4 through a
// 3D LUT (key 0x60119); the look kernel with a pre-scale (key 0x62001, look type 7 or above).
// The second argument picks the compiled variant (KernelIsa), so that vectorised bodies can be set
// beside the scalar one.
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
BENCHMARK(BM_RowKernel)
    ->ArgNames({"key", "isa", "look"})
    ->Args({0x60111, int64_t(KernelIsa::Scalar), 0})
    ->Args({0x60111, int64_t(KernelIsa::Best), 0})
    ->Args({0x60001, int64_t(KernelIsa::Scalar), 0})
    ->Args({0x60119, int64_t(KernelIsa::Scalar), 0})
    ->Args({0x62001, int64_t(KernelIsa::Scalar), 1})
    ->Unit(benchmark::kMillisecond);

}  // namespace

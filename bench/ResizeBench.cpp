// Frames per second of the picture reduction on a 3840 × 2160 frame: to 1920 × 1080 and to
// 960 × 540, "YUY2" and "BGR4", through the unrolled copies of divisors 2 and 4; and to
// 1280 × 720 (divisor 3), which only the table loop serves. bench/compare-resize.sh sets these
// figures beside ffmpeg's on the same frame.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "image/CMBXImageResizeUtility.h"

namespace {

constexpr uint32_t kWidth = 3840, kHeight = 2160;

enum Format : int64_t { YUY2 = 0, BGR4 = 1 };

// Arguments: format, destination width, destination height.
void BM_Resize(benchmark::State& state) {
    const bool yuy2 = state.range(0) == YUY2;
    const CMBXImageResizeUtility::Size from{kWidth, kHeight};
    const CMBXImageResizeUtility::Size to{static_cast<uint32_t>(state.range(1)),
                                          static_cast<uint32_t>(state.range(2))};
    const size_t bpp = yuy2 ? 2 : 4;
    std::vector<uint8_t> source(size_t{kWidth} * kHeight * bpp);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(i * 7 + (i >> 13));
    std::vector<uint8_t> destination(size_t{to.width} * to.height * bpp);
    CMBXImageResizeUtility resizer;
    uint32_t length = 0;
    for (auto _ : state) {
        const int32_t status =
            yuy2 ? resizer.ResizeYUY2(source.data(), destination.data(), &length, from, to)
                 : resizer.ResizeBGR4(source.data(), destination.data(), &length, from, to);
        if (status != CMBXImageResizeUtility::kDone) state.SkipWithError("resize failed");
        benchmark::DoNotOptimize(destination.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());  // frames
    state.SetLabel(yuy2 ? "YUY2" : "BGR4");
}
BENCHMARK(BM_Resize)
    ->ArgNames({"bgr4", "w", "h"})
    ->Args({YUY2, 1920, 1080})
    ->Args({YUY2, 960, 540})
    ->Args({BGR4, 1920, 1080})
    ->Args({BGR4, 960, 540})
    ->Args({YUY2, 1280, 720})
    ->Args({BGR4, 1280, 720})
    ->Unit(benchmark::kMicrosecond);

}  // namespace

// Log while no log is installed must cost one lock and one pointer copy, and format nothing.
// BM_LockAndPointerCopy is exactly that work done by hand; BM_LogOff with a long argument and many
// conversions should take the same time: any formatting would show as a multiple of it, as
// BM_FormatOnly shows.
#include <benchmark/benchmark.h>

#include <string>

#include "foundation/CUAutoLock.h"
#include "foundation/CULog.h"
#include "foundation/CURecursiveLock.h"

namespace {

const std::string kLongArgument(4096, 'x');

void BM_LockAndPointerCopy(benchmark::State& state) {
    CURecursiveLock lock;
    CUSharedPtr<CULog> installed;
    for (auto _ : state) {
        CUSharedPtr<CULog> copy;
        {
            CUAutoLock guard(&lock);
            copy = installed;
        }
        benchmark::DoNotOptimize(copy.Get());
    }
}
BENCHMARK(BM_LockAndPointerCopy);

void BM_LogOff(benchmark::State& state) {
    CULog::Install(nullptr);
    for (auto _ : state)
        Log(CULogLevelInfo, "clip %hs frame %d of %d at %f, %hs", "A001C002", 12345, 99999, 0.5,
            kLongArgument.c_str());
}
BENCHMARK(BM_LogOff);

void BM_FormatOnly(benchmark::State& state) {
    CUSharedPtr<CUStringWin> format = CUCreate<CUStringWin>("clip %hs frame %d of %d at %f, %hs");
    for (auto _ : state) {
        CUSharedPtr<CUStringWin> text =
            StringWithFormat(format, "A001C002", 12345, 99999, 0.5, kLongArgument.c_str());
        benchmark::DoNotOptimize(text.Get());
    }
}
BENCHMARK(BM_FormatOnly);

}  // namespace

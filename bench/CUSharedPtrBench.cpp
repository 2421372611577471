// Costs of the object model's hot operations: taking and dropping a reference, and a guard on a
// member lock.
#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>

#include "foundation/CUAutoLock.h"
#include "foundation/CURecursiveLock.h"
#include "foundation/CUStringWin.h"

namespace {

void BM_SharedPtrCopyDrop(benchmark::State& state) {
    static CUSharedPtr<CUObject> object;
    if (state.thread_index() == 0) object = CUCreate<CUStringWin>("x");
    for (auto _ : state) {
        CUSharedPtr<CUObject> copy = object;
        benchmark::DoNotOptimize(copy.Get());
    }
    if (state.thread_index() == 0) object = nullptr;
}
BENCHMARK(BM_SharedPtrCopyDrop)->Threads(1)->Threads(2);

// The peer: the standard library's shared pointer, whose count lives in a control block.
void BM_StdSharedPtrCopyDrop(benchmark::State& state) {
    static std::shared_ptr<int> object;
    if (state.thread_index() == 0) object = std::make_shared<int>(1);
    for (auto _ : state) {
        std::shared_ptr<int> copy = object;
        benchmark::DoNotOptimize(copy.get());
    }
    if (state.thread_index() == 0) object.reset();
}
BENCHMARK(BM_StdSharedPtrCopyDrop)->Threads(1)->Threads(2);

struct Guarded {
    CURecursiveLock lock;
    int value = 0;
};

void BM_AutoLockOnMemberLock(benchmark::State& state) {
    Guarded guarded;
    for (auto _ : state) {
        CUAutoLock guard(&guarded.lock);
        benchmark::DoNotOptimize(++guarded.value);
    }
}
BENCHMARK(BM_AutoLockOnMemberLock);

void BM_StdLockGuardOnRecursiveMutex(benchmark::State& state) {
    std::recursive_mutex mutex;
    int value = 0;
    for (auto _ : state) {
        std::lock_guard guard(mutex);
        benchmark::DoNotOptimize(++value);
    }
}
BENCHMARK(BM_StdLockGuardOnRecursiveMutex);

void BM_AutoLockOnSharedLock(benchmark::State& state) {
    CUSharedPtr<CULockAbstract> lock = CUCreate<CURecursiveLock>();
    for (auto _ : state) {
        CUAutoLock guard(lock);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_AutoLockOnSharedLock);

}  // namespace

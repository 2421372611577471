#include "foundation/CUProcessorCount.h"

#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <thread>

namespace {

// Number of processors in the calling thread's affinity mask, or 0 if the system won't say.
uint32_t AffinityCount() {
    // A fixed cpu_set_t holds 1024 processors; bigger machines need a bigger mask.
    constexpr int kMaxProcessors = 1 << 20;
    for (int processors = CPU_SETSIZE; processors <= kMaxProcessors; processors *= 2) {
        std::unique_ptr<cpu_set_t, void (*)(cpu_set_t*)> set(CPU_ALLOC(processors),
                                                             [](cpu_set_t* s) { CPU_FREE(s); });
        if (!set) return 0;
        const size_t size = CPU_ALLOC_SIZE(processors);
        CPU_ZERO_S(size, set.get());
        if (sched_getaffinity(0, size, set.get()) == 0) {
            return static_cast<uint32_t>(CPU_COUNT_S(size, set.get()));
        }
        if (errno != EINVAL) return 0;
    }
    return 0;
}

}  // namespace

uint32_t GetProcessorCount() {
    uint32_t count = AffinityCount();
    if (count == 0) {
        const long online = sysconf(_SC_NPROCESSORS_ONLN);
        count = online > 0 ? static_cast<uint32_t>(online) : std::thread::hardware_concurrency();
    }
    return count > 0 ? count : 1;
}

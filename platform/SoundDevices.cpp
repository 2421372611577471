#include "platform/SoundDevices.h"

#include <atomic>
#include <mutex>

#include "platform/SystemInfo.h"

namespace platform {

namespace {

constexpr int kNoOverride = -1;

std::atomic<int> overrideValue{kNoOverride};  // kNoOverride, 0 or 1

struct ProbeCache {
    std::mutex lock;
    bool valid = false;                          // guarded by `lock`
    bool present = false;                        // guarded by `lock`
    std::chrono::steady_clock::time_point when;  // guarded by `lock`
};

ProbeCache& Cache() {
    static ProbeCache cache;
    return cache;
}

}  // namespace

bool HasSoundOutputDevice() {
    const int forced = overrideValue.load();
    if (forced != kNoOverride) return forced != 0;
    ProbeCache& cache = Cache();
    std::lock_guard<std::mutex> guard(cache.lock);
    const auto now = std::chrono::steady_clock::now();
    if (!cache.valid || now - cache.when >= kProbeInterval) {
        cache.present = CSystemInfo::SoundOutputDeviceCount() > 0;
        cache.when = now;
        cache.valid = true;
    }
    return cache.present;
}

void SetSoundOutputDeviceOverride(std::optional<bool> present) {
    overrideValue.store(present ? static_cast<int>(*present) : kNoOverride);
    CSystemInfo::SetSoundDeviceCountOverride(present ? static_cast<int32_t>(*present) : -1);
}

}  // namespace platform

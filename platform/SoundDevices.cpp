#include "platform/SoundDevices.h"

#include <dirent.h>

#include <atomic>
#include <cctype>
#include <cstring>
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

// "<prefix><digits><suffix>", with at least one digit.
bool NamedLike(const char* name, const char* prefix, const char* suffix) {
    const size_t prefixLength = std::strlen(prefix);
    const size_t suffixLength = std::strlen(suffix);
    const size_t length = std::strlen(name);
    if (length <= prefixLength + suffixLength || std::strncmp(name, prefix, prefixLength) != 0 ||
        std::strcmp(name + length - suffixLength, suffix) != 0)
        return false;
    for (size_t i = prefixLength; i < length - suffixLength; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(name[i]))) return false;
    }
    return true;
}

// Calls `visit` with each entry name of `path` until it answers true.
template <class Visit>
bool AnyEntry(const std::string& path, Visit visit) {
    DIR* directory = opendir(path.c_str());
    if (!directory) return false;
    bool found = false;
    while (!found) {
        const dirent* entry = readdir(directory);
        if (!entry) break;
        found = visit(entry->d_name);
    }
    closedir(directory);
    return found;
}

}  // namespace

bool ListsPlaybackDevice(const std::string& asoundRoot) {
    return AnyEntry(asoundRoot, [&](const char* card) {
        if (!NamedLike(card, "card", "")) return false;
        return AnyEntry(asoundRoot + "/" + card,
                        [](const char* pcm) { return NamedLike(pcm, "pcm", "p"); });
    });
}

bool HasSoundOutputDevice() {
    const int forced = overrideValue.load();
    if (forced != kNoOverride) return forced != 0;
    ProbeCache& cache = Cache();
    std::lock_guard<std::mutex> guard(cache.lock);
    const auto now = std::chrono::steady_clock::now();
    if (!cache.valid || now - cache.when >= kProbeInterval) {
        cache.present = ListsPlaybackDevice(kAsoundRoot);
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

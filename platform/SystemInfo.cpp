#include "platform/SystemInfo.h"

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace {

std::atomic<int32_t> soundDeviceOverride{-1};
std::atomic<uint32_t> peakLuminance{0};

}  // namespace

std::string CSystemInfo::ModulePath() {
    std::error_code error;
    std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : path.string();
}

uint32_t CSystemInfo::SoundOutputDeviceCount() {
    const int32_t forced = soundDeviceOverride.load();
    if (forced >= 0) return static_cast<uint32_t>(forced);
    std::ifstream listing("/proc/asound/pcm");
    if (!listing) return 0;
    return CountPlaybackDevices(listing);
}

void CSystemInfo::SetSoundDeviceCountOverride(int32_t count) {
    soundDeviceOverride.store(count < 0 ? -1 : count);
}

uint32_t CSystemInfo::CountPlaybackDevices(std::istream& pcmListing) {
    uint32_t count = 0;
    std::string line;
    while (std::getline(pcmListing, line)) {
        if (line.find("playback") != std::string::npos) ++count;
    }
    return count;
}

uint32_t CSystemInfo::DisplayPeakLuminance() {
    const uint32_t nits = peakLuminance.load();
    return nits == 0 ? kDefaultPeakLuminance : nits;
}

void CSystemInfo::SetDisplayPeakLuminance(uint32_t nits) {
    peakLuminance.store(nits);
}

uint64_t CSystemInfo::PhysicalMemoryBytes() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return 0;
    return static_cast<uint64_t>(pages) * static_cast<uint64_t>(pageSize);
}

#include "platform/SystemInfo.h"

#include <unistd.h>

#include <atomic>
#include <fstream>

#include "platform/DisplayLuminance.h"
#include "platform/ModulePath.h"

namespace {

std::atomic<int32_t> soundDeviceOverride{-1};

}  // namespace

std::string CSystemInfo::ModulePath() {
    return platform::ModuleFilePath();
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
    const uint32_t nits = platform::DisplayPeakLuminance();
    return nits == 0 ? kDefaultPeakLuminance : nits;
}

void CSystemInfo::SetDisplayPeakLuminance(uint32_t nits) {
    platform::SetDisplayPeakLuminance(nits);
}

uint64_t CSystemInfo::PhysicalMemoryBytes() {
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return 0;
    return static_cast<uint64_t>(pages) * static_cast<uint64_t>(pageSize);
}

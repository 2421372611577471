// CSystemInfo: what the filters asked the operating system, answered from Linux or by the host.
//
// - ModulePath: the path of the running executable (/proc/self/exe); empty if unreadable.
// - SoundOutputDeviceCount (and waveOutGetNumDevs): the host's override if it set one, else the
//   number of ALSA playback devices in /proc/asound/pcm (0 when that file is missing). The CLI's
//   WAV sink counts as a device, so the host sets the override when it writes one; tests set it.
// - DisplayPeakLuminance: 1000 unless the host or QVFLTS_DISPLAY_NITS gave a non-zero value
//   (platform/DisplayLuminance.h; a display reporting 0 keeps 1000); Linux has no general way
//   to ask the display.
// - PhysicalMemoryBytes: from sysconf; 0 if unknown.
// Threads: every function may be called from any thread; the host values are atomics, and a
// change is seen by calls that start after it.
#pragma once

#include <cstdint>
#include <istream>
#include <string>

class CSystemInfo {
public:
    static std::string ModulePath();

    static uint32_t SoundOutputDeviceCount();
    // A count of 0 or more replaces the probe; a negative one restores it.
    static void SetSoundDeviceCountOverride(int32_t count);
    // The playback devices of a listing in the format of /proc/asound/pcm: the lines that
    // contain "playback".
    static uint32_t CountPlaybackDevices(std::istream& pcmListing);

    static uint32_t DisplayPeakLuminance();
    // 0 brings back the default of 1000.
    static void SetDisplayPeakLuminance(uint32_t nits);

    static uint64_t PhysicalMemoryBytes();

    static constexpr uint32_t kDefaultPeakLuminance = 1000;
};

// The number of sound output devices, as the filters ask it.
inline uint32_t waveOutGetNumDevs() {
    return CSystemInfo::SoundOutputDeviceCount();
}

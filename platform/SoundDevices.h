// Whether a sound output device exists, as the sound filters ask before every sample: with none,
// they drop the sample and tell the graph (EC_ERRORABORT with AUDCLNT_E_DEVICE_INVALIDATED).
//
// The answer is the host's override when it set one (the CLI's WAV sink counts as a device; tests
// set it), else whether /proc/asound lists an ALSA playback PCM device: a "pcm<N>p" entry in a
// "card<N>" directory. Asked at every sample, the probe must be cheap: the override is an atomic,
// and the directory scan is done at most once every kProbeInterval, its answer kept in between, so
// a device that comes or goes is noticed within that interval. Setting the override also sets
// CSystemInfo's device count (waveOutGetNumDevs), so both agree.
// Threads: every function may be called from any thread. Failures: an unreadable /proc/asound
// means no device.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/HResult.h"

// Sent as the first parameter of EC_ERRORABORT when no sound output device is there.
inline constexpr HRESULT AUDCLNT_E_DEVICE_INVALIDATED = static_cast<HRESULT>(0x88890004);

namespace platform {

inline constexpr auto kProbeInterval = std::chrono::seconds(1);
inline constexpr const char* kAsoundRoot = "/proc/asound";

bool HasSoundOutputDevice();
// A value replaces the probe; nullopt restores it.
void SetSoundOutputDeviceOverride(std::optional<bool> present);
// The scan itself, of a directory laid out as /proc/asound.
bool ListsPlaybackDevice(const std::string& asoundRoot);

}  // namespace platform

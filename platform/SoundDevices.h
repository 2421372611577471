// Whether a sound output device exists, as the sound filters ask before every sample: with none,
// they drop the sample and tell the graph (EC_ERRORABORT with AUDCLNT_E_DEVICE_INVALIDATED).
//
// The answer is the host's override when it set one here (the CLI's WAV sink counts as a device;
// tests set it), else whether CSystemInfo counts a sound output device: its own count override,
// or the ALSA playback devices of /proc/asound. Asked at every sample, the probe must be cheap:
// the override is an atomic, and CSystemInfo is asked at most once every kProbeInterval, its
// answer kept in between, so a device that comes or goes (or a count override set there) is
// noticed within that interval. Setting the override here also sets CSystemInfo's count
// (waveOutGetNumDevs), so both agree; nullopt withdraws both.
// Threads: every function may be called from any thread. Failures: none; an unreadable
// /proc/asound means no device.
#pragma once

#include <chrono>
#include <optional>

#include "platform/HResult.h"

// Sent as the first parameter of EC_ERRORABORT when no sound output device is there.
inline constexpr HRESULT AUDCLNT_E_DEVICE_INVALIDATED = static_cast<HRESULT>(0x88890004);

namespace platform {

inline constexpr auto kProbeInterval = std::chrono::seconds(1);

bool HasSoundOutputDevice();
// A value replaces the probe at once; nullopt restores it.
void SetSoundOutputDeviceOverride(std::optional<bool> present);

}  // namespace platform

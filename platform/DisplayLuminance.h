// The display's peak luminance in nits, as the colour kernels' tone curves need it. Linux offers
// no portable way to ask a display, so the answer is what the host said: a process-wide value the
// host sets (qvclip's --display-nits), else the environment variable QVFLTS_DISPLAY_NITS (a
// decimal number from 1 to kMaxDisplayNits), else 0 for "unknown". Callers keep their own default
// for 0.
// Threads: any thread; the host value is an atomic, seen by calls that start after the change.
#pragma once

#include <cstdint>

namespace platform {

inline constexpr uint32_t kMaxDisplayNits = 100000;
inline constexpr const char* kDisplayNitsVariable = "QVFLTS_DISPLAY_NITS";

// The host's value, or the environment's, or 0.
uint32_t DisplayPeakLuminance();
// 0 withdraws the host's value; values above kMaxDisplayNits are held at it.
void SetDisplayPeakLuminance(uint32_t nits);
// The environment's form: digits only, 1 to kMaxDisplayNits; anything else gives 0.
uint32_t ParseDisplayNits(const char* text);

}  // namespace platform

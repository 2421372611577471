// Conversions between frame counts and media time (100-ns units) at a clip's frame rate
// num/den, rounded to nearest as the pins stamp their samples. A rate with a zero part is no
// rate: every time is 0 and every frame count 0, so a broken clip header cannot divide by zero.
#pragma once

#include <cmath>
#include <cstdint>
#include <climits>
#include <utility>

#include "platform/ReferenceTime.h"

namespace frame_time {

using Rate = std::pair<uint32_t, uint32_t>;  // numerator, denominator

inline bool IsValid(const Rate& rate) {
    return rate.first != 0 && rate.second != 0;
}

// Rounds to nearest and saturates to the 64-bit range (positions such as "no stop" are huge).
inline int64_t Saturate(double value) {
    const double rounded = std::floor(value + 0.5);
    if (!(rounded > -9.2e18)) return INT64_MIN;  // also NaN
    if (rounded > 9.2e18) return INT64_MAX;
    return static_cast<int64_t>(rounded);
}

// The media time at which frame count `n` begins.
inline REFERENCE_TIME FromFrames(int64_t n, const Rate& rate) {
    if (!IsValid(rate)) return 0;
    return Saturate(static_cast<double>(n) * 10000000.0 * static_cast<double>(rate.second) /
                    static_cast<double>(rate.first));
}

// The frame count nearest to media time `t`.
inline int64_t ToFrames(REFERENCE_TIME t, const Rate& rate) {
    if (!IsValid(rate)) return 0;
    return Saturate(static_cast<double>(rate.first) * static_cast<double>(t) /
                    static_cast<double>(rate.second) / 10000000.0);
}

// Media time of one frame, as the format block states it.
inline REFERENCE_TIME FrameDuration(const Rate& rate) {
    return FromFrames(1, rate);
}

}  // namespace frame_time

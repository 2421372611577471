// REFERENCE_TIME: a time or a duration in 100-nanosecond units, the unit of every clock, sample
// time and stream time of the graph runtime.
#pragma once

#include <cstdint>

using REFERENCE_TIME = int64_t;

// REFERENCE_TIME units per second and per millisecond.
inline constexpr REFERENCE_TIME UNITS = 10'000'000;
inline constexpr REFERENCE_TIME MILLISECONDS = 10'000;

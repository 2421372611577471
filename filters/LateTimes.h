// The video pins' memory of lateness: the last three late times in milliseconds, in a ring, and
// their mean (truncated), which decides how far a pin jumps.
#pragma once

#include <cstdint>

#include "platform/ReferenceTime.h"

namespace late_times {

inline void Record(int32_t (&times)[3], int32_t& next, int32_t& mean, REFERENCE_TIME late) {
    const int64_t ms = late / 10000;
    times[next] = static_cast<int32_t>(ms < INT32_MIN ? INT32_MIN : ms > INT32_MAX ? INT32_MAX : ms);
    next = (next + 1) % 3;
    mean = static_cast<int32_t>((int64_t{times[0]} + times[1] + times[2]) / 3);
}

}  // namespace late_times

// REFERENCE_TIME: a time or a duration in 100-nanosecond units, the unit of every clock, sample
// time and stream time of the graph runtime (ten million to the second).
#pragma once

#include <cstdint>

using REFERENCE_TIME = int64_t;

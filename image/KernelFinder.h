// The key and the two kernel tables. MakeKernelKey folds the parameters into a 32-bit key; the
// finders map a key to a plan. Pure functions of their arguments, safe from any thread.
//
// Key bits, low to high: 0-3 layout nibble, 4-7 gamma nibble (transition to target gamma 2),
// 8-11 gamut nibble, 12-15 extra nibble (transition to target 14, 16 or 17), 16-19 class,
// 20 picture bit.
#pragma once

#include <cstdint>
#include <optional>

#include "image/KernelPlan.h"
#include "image/MatchingParameters.h"

namespace image {

uint32_t MakeKernelKey(const MatchingParameters& parameters);

// The first table: every key has a plan; keys the table does not hold get ZeroFill.
KernelPlan PlanKernel(uint32_t key);
// The second table (looks): nothing for keys it does not hold.
std::optional<KernelPlan> PlanLookKernel(uint32_t key);

}  // namespace image

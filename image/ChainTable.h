// FillChainTable: synthesizes a 48 MiB file table (256 × 256 × 256 entries of 3 bytes, entry of
// Y, Cb, Cr at TableOffset) from a FloatChain plan, for a table file that is absent from disk. Each
// entry is what the chain gives for that one 8-bit 4:2:2 pixel (no chroma averaging), packed in the
// plan's order without a fourth byte.
//
// The caller owns `table` (kTableBytes). The work is split over the processors; the call returns
// when the table is complete. Safe from any thread; a plan that is not a runnable 8-bit 4:2:2 float
// chain (or whose LUT is missing) leaves the table untouched and gives false.
#pragma once

#include <cstdint>

#include "image/KernelPlan.h"
#include "image/ScalarKernels.h"

namespace image {

bool FillChainTable(const KernelPlan& chain, uint8_t* table);

// The same with the look-up data given (tests feed their own LUT).
bool FillChainTable(const KernelPlan& chain, const KernelInputs& inputs, uint8_t* table);

}  // namespace image

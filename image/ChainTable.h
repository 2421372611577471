// FillChainTable: a 48 MiB table of the file-table layout computed from a float chain, for a
// table whose file is absent. The entry of (Y, Cb, Cr), at TableOffset(Y, Cb, Cr), holds the
// packed bytes that the FloatChain plan `chain` gives for that one 8-bit 4:2:2 pixel (its own
// chroma, no averaging), in the plan's order without a fourth byte. The work is split over the
// processors this process may use; the call returns when the table is complete. `table` holds
// kTableBytes bytes, owned by the caller. Safe from any thread.
//
// A plan that is not an 8-bit 4:2:2 float chain with a matrix, or whose look-up data is missing,
// leaves the table untouched.
#pragma once

#include <cstdint>

#include "image/KernelPlan.h"
#include "image/ScalarKernels.h"

namespace image {

void FillChainTable(const KernelPlan& chain, uint8_t* table);

// The same with the look-up data given rather than gathered (tests feed their own LUT).
void FillChainTable(const KernelPlan& chain, const KernelInputs& inputs, uint8_t* table);

}  // namespace image

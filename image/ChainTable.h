// FillChainTable: a 48 MiB table of the file-table layout computed from a float chain, for a
// table whose file is absent. The entry of (Y, Cb, Cr), at TableOffset(Y, Cb, Cr), holds the
// packed bytes that the FloatChain plan `chain` gives for that one 8-bit 4:2:2 pixel (its own
// chroma, no averaging), in the plan's order without a fourth byte. The work is split over the
// processors this process may use. `table` holds kTableBytes bytes.
#pragma once

#include <cstdint>

#include "image/KernelPlan.h"

namespace image {

void FillChainTable(const KernelPlan& chain, uint8_t* table);

}  // namespace image

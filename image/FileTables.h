// The 48 MiB tables behind the file-table and run-time-table kernels: where the six file tables
// are read from, how one is made when its file is missing, and the run-time table's rule. Each
// table maps Y, Cb, Cr to three output bytes (TableOffset in SharedTables.h).
//
// A file table is "QVConvData0N.bin" in the table folder, by default "resource" beside the host
// program; a host (or a test) may point elsewhere with SetTableFolder. The file is used as it
// stands. A file that is missing or shorter than kTableBytes is not used at all: the table is
// computed instead from the float chain that the table's key range stands for (BT.709 matrix, the
// chain LUT of the source gamma, BT.709 range), so that a picture still comes out right; the
// substitution is logged once a load.
//
// Ownership: Load* hand a new buffer of kTableBytes to the caller, who frees it with FreeTable.
// Failures: a buffer that cannot be had gives null, with a logged error; its kernels then write
// nothing. Threads: any thread; SetTableFolder is guarded by its own lock. Loading is heavy (a
// 48 MiB read or 16.7 million chain evaluations) and happens only in a maker's Start.
#pragma once

#include <cstdint>
#include <string>

#include "image/KernelPlan.h"

namespace image {

// "<host program's folder>/resource" ("resource" under the working folder when the program's
// path is unknown), or the folder SetTableFolder gave.
std::string TableFolder();
// An empty folder restores the default.
void SetTableFolder(const std::string& folder);

// "QVConvData01.bin" … "QVConvData06.bin"; null for the run-time table and None.
const char* TableFileName(TableId id);
// The chain that stands in for a file table: FloatChain over YUY2 with the BT.709 matrix, the
// chain LUT of the table's source gamma (0, 3, 12 for 01/02, 03/04, 05/06), BT.709 range; B, G, R
// for the mode-0 tables 01, 03, 05 and R, G, B for the mode-1 tables 02, 04, 06.
KernelPlan FileTableChain(TableId id);

// A new buffer holding file table `id` (ConvData01..06), read from the table folder or computed.
uint8_t* LoadFileTable(TableId id);
// A new buffer holding the run-time table.
uint8_t* BuildRuntimeTable();
void FreeTable(uint8_t* table);

// The run-time table's entry for Y, Cb, Cr: a BT.709 decode in 32-bit integers followed by a
// small cross-talk correction with an offset, each step divided by 10000 (cut towards zero) and
// limited to 0..255.
void RuntimeTableEntry(int32_t y, int32_t cb, int32_t cr, uint8_t entry[3]);

}  // namespace image

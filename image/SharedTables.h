// The process-wide state that all matching image makers share: the seven 48 MiB table buffers (six
// file tables and the run-time table) with their use counts, the lock that guards them, and the
// display's peak luminance.
//
// Buffers and counts change only under `lock`, in a maker's Start and Stop. Kernels read a buffer
// without the lock during a picture: a buffer is freed only at a count of 0, which no running maker
// has. `displayPeakLuminance` is written by each maker's construction and read by the kernels.
#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/CULockAbstract.h"
#include "foundation/CUSharedPtr.h"
#include "image/KernelPlan.h"

namespace image {

inline constexpr uint32_t kTableBytes = 0x3000000;  // 256 × 256 × 256 entries of 3 bytes
inline constexpr unsigned kTableCount = 7;

// Entry of Y, Cb, Cr in a table: byte Y × 0x30000 + Cb × 768 + Cr × 3.
constexpr uint32_t TableOffset(uint32_t y, uint32_t cb, uint32_t cr) {
    return y * 0x30000 + cb * 768 + cr * 3;
}

struct SharedTables {
    CUSharedPtr<CULockAbstract> lock;  // a CURecursiveLock
    std::atomic<uint8_t*> buffers[kTableCount] = {};
    uint32_t counts[kTableCount] = {};
    std::atomic<uint32_t> displayPeakLuminance{1000};
};

SharedTables& Shared();

inline const uint8_t* TableBuffer(TableId id) {
    return id < TableId::None
               ? Shared().buffers[static_cast<unsigned>(id)].load(std::memory_order_acquire)
               : nullptr;
}

}  // namespace image

// RowKernel: one runnable kernel of the family. It is called with the source and destination of a
// band, `lastGroup` (groups of 4 pixels in a row, minus 1), `rows` and `linePadding` (output pixels
// skipped, not written, at each row's end). Input rows lie back to back; rows 0 does nothing.
//
// A kernel's body is chosen once, from the plan, among compiled variants (scalar, SSE4.1, AVX2 by
// what the processor offers); the loops have no per-pixel branches on parameters. A body reads the
// plan it was made from, the LUT data (KernelData.h), the shared tables and the display's peak
// luminance (SharedTables.h), and nothing else outside its arguments. Kernels cannot fail: a
// file-table kernel whose table is not loaded writes nothing.
#pragma once

#include <cstdint>

#include "image/KernelPlan.h"

namespace image {

class RowKernel {
public:
    using Body = void (*)(const KernelPlan& plan, const uint8_t* source, uint8_t* destination,
                          uint32_t lastGroup, uint32_t rows, uint32_t linePadding);

    RowKernel() = default;  // the null kernel: FindLookKernel's "not held"
    RowKernel(Body body, const KernelPlan& plan) : body_(body), plan_(plan) {}

    void operator()(const uint8_t* source, uint8_t* destination, uint32_t lastGroup, uint32_t rows,
                    uint32_t linePadding) const {
        body_(plan_, source, destination, lastGroup, rows, linePadding);
    }
    explicit operator bool() const { return body_ != nullptr; }
    const KernelPlan& Plan() const { return plan_; }
    Body GetBody() const { return body_; }

private:
    Body body_ = nullptr;
    KernelPlan plan_;
};

// Which compiled variants a kernel may use. Best picks what the processor offers.
enum class KernelIsa : uint8_t { Scalar, Sse41, Avx2, Best };

// Whether the processor offers a family's instructions (Scalar and Best: always).
bool IsaAvailable(KernelIsa isa);

// The kernel for a plan; never null (a ZeroFill plan gives the zero-fill kernel). A family that
// the processor lacks, or that does not cover the plan, gives way to the next one down: AVX2,
// SSE4.1, scalar.
RowKernel MakeRowKernel(const KernelPlan& plan, KernelIsa isa = KernelIsa::Best);

// The two finders of the maker: FindKernel never gives null; FindLookKernel gives null for keys
// the look table does not hold.
RowKernel FindKernel(uint32_t key);
RowKernel FindLookKernel(uint32_t key);

}  // namespace image

// The reference (scalar) family of row kernels: one body per KernelKind, with the plan's
// structural choices resolved once per call into stage functions that are templates, so that the
// pixel loops carry no branches on the plan. Vectorised variants must give the same bytes; they
// may replace any stage (ChainStages) or whole body and fall back to these for the rest.
//
// The bodies take the data they read (LUT, curve, table buffer) as KernelInputs, which the row
// kernel gathers at each call (RowKernel.cpp); tests feed their own. A body whose plan needs data
// that is null writes nothing. Bodies are pure functions of their arguments and the integer tables,
// safe from any thread as long as the destinations do not overlap.
#pragma once

#include <cstdint>

#include "image/FloatStages.h"
#include "image/KernelPlan.h"

namespace image {

struct KernelInputs {
    const float* lut = nullptr;      // Lookup::Lut3D: 33 × 33 × 33 × 3 floats
    const float* curve = nullptr;    // Lookup::Curve1D: 256 or 65536 × 3 floats by the layout
    const uint8_t* table = nullptr;  // FileTable, or IntegerExpanded with TableId::Runtime
};

// The data a plan reads, as it stands at the time of the call (the display's peak luminance
// picks the curve; the shared buffers may be loaded or not).
KernelInputs GatherInputs(const KernelPlan& plan);

// The float chain of a plan after its input stage; a null stage is left out.
struct ChainStages {
    using Input = void (*)(const uint8_t* source, unsigned groups, bool endsRow,
                           stages::Planes& planes);
    using Stage = void (*)(stages::Planes& planes, unsigned n);
    using LookupStage = void (*)(stages::Planes& planes, unsigned n, const float* data);
    using Pack = void (*)(const stages::Planes& planes, unsigned n, uint8_t* out);

    Input input = nullptr;
    Stage preScale = nullptr;
    LookupStage lookup = nullptr;
    Stage output = nullptr;
    Pack pack = nullptr;
};

// The bytes of a layout's pixel on input, and of an order's pixel on output.
unsigned InputPixelBytes(InputLayout layout);
unsigned OutputPixelBytes(PixelOrder order);

namespace scalar {

using Body = void (*)(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
                      uint8_t* destination, uint32_t lastGroup, uint32_t rows,
                      uint32_t linePadding);

// The stages of a FloatChain (or Combined16) plan.
ChainStages Stages(const KernelPlan& plan);

// The body of a kind; never null.
Body BodyFor(KernelKind kind);

// Runs the plan's body once (per-call dispatch; for tests and tools).
void Run(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
         uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding);

}  // namespace scalar

// The vectorised families (VectorKernels.h): the body for a plan they cover, null for the others.
// Callers make sure that the processor has the family's instructions.
namespace sse41 {
scalar::Body BodyFor(const KernelPlan& plan);
}
namespace avx2 {
scalar::Body BodyFor(const KernelPlan& plan);
}

}  // namespace image

#include "image/RowKernel.h"

#include "image/KernelData.h"
#include "image/KernelFinder.h"
#include "image/ScalarKernels.h"
#include "image/SharedTables.h"

namespace image {

KernelInputs GatherInputs(const KernelPlan& plan) {
    KernelInputs inputs;
    switch (plan.lookup) {
        case Lookup::None:
            break;
        case Lookup::Lut3D:
            if (plan.lutNumber < kLutAll) inputs.lut = Lut3D(plan.lutNumber);
            break;
        case Lookup::Curve1D: {
            const unsigned curve = CurveForPeakLuminance(
                Shared().displayPeakLuminance.load(std::memory_order_relaxed));
            const bool wide =
                plan.layout == InputLayout::Yuv16 || plan.layout == InputLayout::Bgr16;
            inputs.curve = wide ? Curve16(curve) : Curve8(curve);
            break;
        }
    }
    if (plan.kind == KernelKind::FileTable || plan.kind == KernelKind::IntegerExpanded) {
        inputs.table = TableBuffer(plan.table);
    }
    return inputs;
}

namespace {

// The scalar family behind the row kernel's signature: the data is gathered at each call, so a
// table loaded or freed between pictures, or a new peak luminance, is seen by the next call.
template <KernelKind kKind>
void ScalarBody(const KernelPlan& plan, const uint8_t* source, uint8_t* destination,
                uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    if (rows == 0) return;
    scalar::BodyFor(kKind)(plan, GatherInputs(plan), source, destination, lastGroup, rows,
                           linePadding);
}

RowKernel::Body ScalarBodyFor(KernelKind kind) {
    switch (kind) {
        case KernelKind::ZeroFill:
            return ScalarBody<KernelKind::ZeroFill>;
        case KernelKind::FloatChain:
            return ScalarBody<KernelKind::FloatChain>;
        case KernelKind::IntegerPlain:
            return ScalarBody<KernelKind::IntegerPlain>;
        case KernelKind::IntegerExpanded:
            return ScalarBody<KernelKind::IntegerExpanded>;
        case KernelKind::IntegerBoosted:
            return ScalarBody<KernelKind::IntegerBoosted>;
        case KernelKind::FileTable:
            return ScalarBody<KernelKind::FileTable>;
        case KernelKind::Combined16:
            return ScalarBody<KernelKind::Combined16>;
        case KernelKind::Reorder:
            return ScalarBody<KernelKind::Reorder>;
    }
    return ScalarBody<KernelKind::ZeroFill>;
}

}  // namespace

// Only the scalar family is compiled so far. A vectorised family adds, per ISA, a function that
// gives its body for the plans it covers (null for the others) and is asked here before the
// scalar one when `isa` allows it and the processor has the instructions.
RowKernel MakeRowKernel(const KernelPlan& plan, KernelIsa /*isa*/) {
    return RowKernel(ScalarBodyFor(plan.kind), plan);
}

RowKernel FindKernel(uint32_t key) {
    return MakeRowKernel(PlanKernel(key));
}

RowKernel FindLookKernel(uint32_t key) {
    const std::optional<KernelPlan> plan = PlanLookKernel(key);
    return plan ? MakeRowKernel(*plan) : RowKernel();
}

}  // namespace image

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

// A vectorised family behind the row kernel's signature; the body is looked up again at each
// call (a few switches a band), which keeps the family's entry points to one a file.
template <KernelIsa kIsa>
void VectorBody(const KernelPlan& plan, const uint8_t* source, uint8_t* destination,
                uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    if (rows == 0) return;
    const scalar::Body body = kIsa == KernelIsa::Avx2 ? avx2::BodyFor(plan) : sse41::BodyFor(plan);
    body(plan, GatherInputs(plan), source, destination, lastGroup, rows, linePadding);
}

}  // namespace

bool IsaAvailable(KernelIsa isa) {
    __builtin_cpu_init();  // idempotent; needed when asked before the static constructors ran
    switch (isa) {
        case KernelIsa::Sse41:
            return __builtin_cpu_supports("sse4.1");
        case KernelIsa::Avx2:
            return __builtin_cpu_supports("avx2");
        case KernelIsa::Scalar:
        case KernelIsa::Best:
            break;
    }
    return true;
}

RowKernel MakeRowKernel(const KernelPlan& plan, KernelIsa isa) {
    const bool avx2 =
        (isa == KernelIsa::Best || isa == KernelIsa::Avx2) && IsaAvailable(KernelIsa::Avx2);
    const bool sse41 = isa != KernelIsa::Scalar && IsaAvailable(KernelIsa::Sse41);
    if (avx2 && avx2::BodyFor(plan) != nullptr) {
        return RowKernel(VectorBody<KernelIsa::Avx2>, plan);
    }
    if (sse41 && sse41::BodyFor(plan) != nullptr) {
        return RowKernel(VectorBody<KernelIsa::Sse41>, plan);
    }
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

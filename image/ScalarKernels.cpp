#include "image/ScalarKernels.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "image/IntegerTables.h"
#include "image/SharedTables.h"

namespace image {

using stages::Depth16;
using stages::Depth8;
using stages::Planes;

unsigned InputPixelBytes(InputLayout layout) {
    switch (layout) {
        case InputLayout::Yuy2:
            return 2;
        case InputLayout::Yuv16:
        case InputLayout::Bgr4:
            return 4;
        case InputLayout::Bgr16:
            return 8;
        case InputLayout::None:
            break;
    }
    return 0;
}

unsigned OutputPixelBytes(PixelOrder order) {
    return order == PixelOrder::Rgb ? 3 : 4;
}

namespace {

constexpr size_t kZeroFillGroupBytes = 16;

// Where the rows of a band lie. `lastGroup` + 1 is taken in 32 bits, so that a row narrower than
// one group (a lastGroup of −1 from width / 4 − 1) has no pixels rather than four billion groups.
struct Rows {
    uint32_t groups;
    size_t inStride;
    size_t outStride;

    Rows(uint32_t lastGroup, InputLayout layout, PixelOrder order, uint32_t linePadding)
        : groups(lastGroup + 1u),
          inStride(size_t{groups} * stages::kGroupPixels * InputPixelBytes(layout)),
          outStride((size_t{groups} * stages::kGroupPixels + linePadding) *
                    OutputPixelBytes(order)) {}
};

// ---- Float chain --------------------------------------------------------------------------------

ChainStages::Pack PackFor(PixelOrder order) {
    switch (order) {
        case PixelOrder::Rgb:
            return stages::PackStage<false, 3>;
        case PixelOrder::Rgb0:
            return stages::PackStage<false, 4>;
        case PixelOrder::Bgr0:
            return stages::PackStage<true, 4>;
    }
    return nullptr;
}

template <typename Depth>
ChainStages::Input Input422For(KernelKind kind, Matrix matrix) {
    if (kind == KernelKind::Combined16) {
        if constexpr (std::is_same_v<Depth, Depth16>) {
            return matrix == Matrix::Bt2020 ? stages::Input422<Depth, stages::Combined2020>
                                            : stages::Input422<Depth, stages::Combined709>;
        }
        return nullptr;  // the combined form exists for 16-bit 4:2:2 only
    }
    switch (matrix) {
        case Matrix::Bt709:
            return stages::Input422<Depth, stages::YuvMatrix<Depth, stages::Bt709>>;
        case Matrix::Bt2020:
            return stages::Input422<Depth, stages::YuvMatrix<Depth, stages::Bt2020>>;
        case Matrix::None:
            break;  // 4:2:2 has no meaning without a matrix
    }
    return nullptr;
}

template <typename Depth>
ChainStages StagesOf(const KernelPlan& plan, bool yuv) {
    ChainStages s;
    s.input = yuv ? Input422For<Depth>(plan.kind, plan.matrix) : stages::InputBgr<Depth>;
    s.pack = PackFor(plan.order);
    if (plan.kind == KernelKind::Combined16) return s;  // its input stage gives the bytes' values

    switch (plan.preScale) {
        case PreScale::None:
            break;
        case PreScale::Scale238:
            s.preScale = stages::PreScaleStage<Depth, PreScale::Scale238>;
            break;
        case PreScale::Scale219:
            s.preScale = stages::PreScaleStage<Depth, PreScale::Scale219>;
            break;
    }
    switch (plan.lookup) {
        case Lookup::None:
            break;
        case Lookup::Lut3D:
            s.lookup = stages::Lut3DStage<Depth>;
            break;
        case Lookup::Curve1D:
            s.lookup = stages::CurveStage<Depth>;
            break;
    }
    switch (plan.output) {
        case OutputStage::None:
            if constexpr (std::is_same_v<Depth, Depth16>) s.output = stages::Narrow16Stage;
            break;
        case OutputStage::Range709:
            s.output = stages::Range709Stage<Depth>;
            break;
        case OutputStage::Range2020:
            s.output = stages::Range2020Stage<Depth>;
            break;
        case OutputStage::By256:
            s.output = stages::By256Stage;
            break;
    }
    return s;
}

const float* LookupData(const KernelPlan& plan, const KernelInputs& inputs) {
    switch (plan.lookup) {
        case Lookup::Lut3D:
            return inputs.lut;
        case Lookup::Curve1D:
            return inputs.curve;
        case Lookup::None:
            break;
    }
    return nullptr;
}

void FloatChain(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
                uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    const ChainStages s = scalar::Stages(plan);
    const float* data = LookupData(plan, inputs);
    if (s.input == nullptr || s.pack == nullptr || (s.lookup != nullptr && data == nullptr)) return;

    const Rows geometry(lastGroup, plan.layout, plan.order, linePadding);
    const size_t groupIn = size_t{stages::kGroupPixels} * InputPixelBytes(plan.layout);
    const size_t groupOut = size_t{stages::kGroupPixels} * OutputPixelBytes(plan.order);
    Planes planes;
    for (uint32_t row = 0; row < rows; ++row) {
        const uint8_t* in = source + row * geometry.inStride;
        uint8_t* out = destination + row * geometry.outStride;
        for (uint32_t g = 0; g < geometry.groups; g += stages::kChunkGroups) {
            const unsigned count = std::min<uint32_t>(stages::kChunkGroups, geometry.groups - g);
            const unsigned n = count * stages::kGroupPixels;
            s.input(in + g * groupIn, count, g + count == geometry.groups, planes);
            if (s.preScale) s.preScale(planes, n);
            if (s.lookup) s.lookup(planes, n, data);
            if (s.output) s.output(planes, n);
            s.pack(planes, n, out + g * groupOut);
        }
    }
}

// ---- 8-bit 4:2:2 through tables -----------------------------------------------------------------

template <bool kBgr, unsigned kBytes>
inline void Store(uint8_t* out, uint8_t r, uint8_t g, uint8_t b) {
    out[0] = kBgr ? b : r;
    out[1] = g;
    out[2] = kBgr ? r : b;
    if constexpr (kBytes == 4) out[3] = 0;
}

template <bool kBgr, unsigned kBytes, bool kBoost>
void IntegerRows(const IntegerSet& set, const uint8_t* boost, const Rows& geometry,
                 const uint8_t* source, uint8_t* destination, uint32_t rows) {
    for (uint32_t row = 0; row < rows; ++row) {
        uint8_t* out = destination + row * geometry.outStride;
        stages::Walk422<uint8_t, stages::IntegerAverage>(
            source + row * geometry.inStride, geometry.groups, true,
            [&](unsigned k, int32_t y, int32_t cb, int32_t cr) {
                uint8_t r = set.red[y * 256 + cr];
                uint8_t g = IntegerGreen(set, y, cb, cr);
                uint8_t b = set.blue[y * 256 + cb];
                if constexpr (kBoost) r = boost[r], g = boost[g], b = boost[b];
                Store<kBgr, kBytes>(out + size_t{k} * kBytes, r, g, b);
            });
    }
}

// The table's three bytes as they stand, whatever the order; a fourth byte is 0.
template <unsigned kBytes>
void TableRows(const uint8_t* table, const Rows& geometry, const uint8_t* source,
               uint8_t* destination, uint32_t rows) {
    for (uint32_t row = 0; row < rows; ++row) {
        uint8_t* out = destination + row * geometry.outStride;
        stages::Walk422<uint8_t, stages::IntegerAverage>(
            source + row * geometry.inStride, geometry.groups, true,
            [&](unsigned k, int32_t y, int32_t cb, int32_t cr) {
                const uint8_t* entry = table + TableOffset(y, cb, cr);
                uint8_t* o = out + size_t{k} * kBytes;
                o[0] = entry[0];
                o[1] = entry[1];
                o[2] = entry[2];
                if constexpr (kBytes == 4) o[3] = 0;
            });
    }
}

void TableBody(const KernelPlan& plan, const uint8_t* table, const uint8_t* source,
               uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    const Rows geometry(lastGroup, InputLayout::Yuy2, plan.order, linePadding);
    if (plan.order == PixelOrder::Rgb) {
        TableRows<3>(table, geometry, source, destination, rows);
    } else {
        TableRows<4>(table, geometry, source, destination, rows);
    }
}

template <bool kBoost>
void IntegerBody(const KernelPlan& plan, const IntegerSet& set, const uint8_t* source,
                 uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    const Rows geometry(lastGroup, InputLayout::Yuy2, plan.order, linePadding);
    const uint8_t* boost = Integer().boost;
    switch (plan.order) {
        case PixelOrder::Rgb:
            return IntegerRows<false, 3, kBoost>(set, boost, geometry, source, destination, rows);
        case PixelOrder::Rgb0:
            return IntegerRows<false, 4, kBoost>(set, boost, geometry, source, destination, rows);
        case PixelOrder::Bgr0:
            return IntegerRows<true, 4, kBoost>(set, boost, geometry, source, destination, rows);
    }
}

void IntegerPlain(const KernelPlan& plan, const KernelInputs&, const uint8_t* source,
                  uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    IntegerBody<false>(plan, Integer().Set(plan.matrix, false), source, destination, lastGroup,
                       rows, linePadding);
}

// A run-time table, when the plan may read one and it is loaded, takes the `x` tables' place.
void IntegerExpanded(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
                     uint8_t* destination, uint32_t lastGroup, uint32_t rows,
                     uint32_t linePadding) {
    if (plan.table == TableId::Runtime && inputs.table != nullptr) {
        return TableBody(plan, inputs.table, source, destination, lastGroup, rows, linePadding);
    }
    IntegerBody<false>(plan, Integer().Set(plan.matrix, true), source, destination, lastGroup, rows,
                       linePadding);
}

void IntegerBoosted(const KernelPlan& plan, const KernelInputs&, const uint8_t* source,
                    uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    IntegerBody<true>(plan, Integer().Set(plan.matrix, true), source, destination, lastGroup, rows,
                      linePadding);
}

void FileTable(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
               uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    if (inputs.table == nullptr) return;
    TableBody(plan, inputs.table, source, destination, lastGroup, rows, linePadding);
}

// ---- Reorder and zero-fill ----------------------------------------------------------------------

// B, G, R, unused in; a 16-bit word gives its high byte.
template <typename Element, bool kBgr, unsigned kBytes>
void ReorderRows(const Rows& geometry, const uint8_t* source, uint8_t* destination, uint32_t rows) {
    constexpr unsigned kShift = (sizeof(Element) - 1) * 8;
    const size_t pixels = size_t{geometry.groups} * stages::kGroupPixels;
    for (uint32_t row = 0; row < rows; ++row) {
        const uint8_t* in = source + row * geometry.inStride;
        uint8_t* out = destination + row * geometry.outStride;
        for (size_t k = 0; k < pixels; ++k) {
            auto byte = [&](unsigned c) {
                return static_cast<uint8_t>(stages::LoadElement<Element>(in, k * 4 + c) >> kShift);
            };
            Store<kBgr, kBytes>(out + k * kBytes, byte(2), byte(1), byte(0));
        }
    }
}

template <typename Element>
void ReorderBody(const KernelPlan& plan, const Rows& geometry, const uint8_t* source,
                 uint8_t* destination, uint32_t rows) {
    switch (plan.order) {
        case PixelOrder::Rgb:
            return ReorderRows<Element, false, 3>(geometry, source, destination, rows);
        case PixelOrder::Rgb0:
            return ReorderRows<Element, false, 4>(geometry, source, destination, rows);
        case PixelOrder::Bgr0:
            return ReorderRows<Element, true, 4>(geometry, source, destination, rows);
    }
}

void Reorder(const KernelPlan& plan, const KernelInputs&, const uint8_t* source,
             uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    const Rows geometry(lastGroup, plan.layout, plan.order, linePadding);
    if (plan.layout == InputLayout::Bgr4) {
        ReorderBody<uint8_t>(plan, geometry, source, destination, rows);
    } else if (plan.layout == InputLayout::Bgr16) {
        ReorderBody<uint16_t>(plan, geometry, source, destination, rows);
    }
}

// 16 bytes a group, rows back to back: the padding is not skipped, as the maker expects of it.
void ZeroFill(const KernelPlan&, const KernelInputs&, const uint8_t*, uint8_t* destination,
              uint32_t lastGroup, uint32_t rows, uint32_t) {
    const uint32_t groups = lastGroup + 1u;
    if (rows == 0 || groups == 0) return;
    std::memset(destination, 0, size_t{rows} * groups * kZeroFillGroupBytes);
}

}  // namespace

namespace scalar {

ChainStages Stages(const KernelPlan& plan) {
    if (plan.kind != KernelKind::FloatChain && plan.kind != KernelKind::Combined16) return {};
    switch (plan.layout) {
        case InputLayout::Yuy2:
            return StagesOf<Depth8>(plan, true);
        case InputLayout::Yuv16:
            return StagesOf<Depth16>(plan, true);
        case InputLayout::Bgr4:
            return StagesOf<Depth8>(plan, false);
        case InputLayout::Bgr16:
            return StagesOf<Depth16>(plan, false);
        case InputLayout::None:
            break;
    }
    return {};
}

Body BodyFor(KernelKind kind) {
    switch (kind) {
        case KernelKind::ZeroFill:
            return ZeroFill;
        case KernelKind::FloatChain:
        case KernelKind::Combined16:
            return FloatChain;
        case KernelKind::IntegerPlain:
            return IntegerPlain;
        case KernelKind::IntegerExpanded:
            return IntegerExpanded;
        case KernelKind::IntegerBoosted:
            return IntegerBoosted;
        case KernelKind::FileTable:
            return FileTable;
        case KernelKind::Reorder:
            return Reorder;
    }
    return ZeroFill;
}

void Run(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
         uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    BodyFor(plan.kind)(plan, inputs, source, destination, lastGroup, rows, linePadding);
}

}  // namespace scalar

}  // namespace image

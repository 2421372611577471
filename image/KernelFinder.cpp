#include "image/KernelFinder.h"

#include <algorithm>
#include <array>

namespace image {

namespace {

// ---- The key ----------------------------------------------------------------------------------

constexpr uint32_t kGamut3To3 = 0xF00;  // both gamuts BT.2020: kept whatever the output mode
constexpr uint32_t kPictureBit = 0x100000;
constexpr uint32_t kHeldKeyBits = 0x1FFFFF;  // bits above the picture bit are never made

struct LayoutCode {
    uint32_t family;
    uint32_t format;
    uint32_t nibble;
};

constexpr LayoutCode kLayoutCodes[] = {
    {3, 1, 2},   {3, 2, 3}, {3, 3, 4}, {3, 9, 10}, {3, 10, 11},
    {3, 11, 12}, {0, 0, 1}, {0, 4, 5}, {0, 8, 9},
};

// Gamut nibble, with target gamut 0, by source gamut.
struct GamutCode {
    uint32_t sourceGamut;
    uint32_t nibble;
};

constexpr GamutCode kGamutCodes[] = {{2, 1}, {4, 2}, {3, 3}};

// Which HLG colours a transition from gamma 15 stands for; other source gammas ignore the colour.
enum class Hlg : uint8_t { Any, One, NotOne, OneOrTwo };

constexpr bool HlgMatches(Hlg want, uint32_t hlgColor) {
    switch (want) {
        case Hlg::Any:
            return true;
        case Hlg::One:
            return hlgColor == 1;
        case Hlg::NotOne:
            return hlgColor != 1;
        case Hlg::OneOrTwo:
            return hlgColor == 1 || hlgColor == 2;
    }
    return false;
}

// Gamma transitions: to target 2 in the gamma nibble (bits 4-7), to targets 14, 16 and 17 in the
// extra nibble (bits 12-15). The first row that matches decides.
struct GammaTransition {
    uint32_t targetGamma;
    uint32_t sourceGamma;
    Hlg hlg;
    uint32_t keyBits;
};

constexpr GammaTransition kGammaTransitions[] = {
    {2, 3, Hlg::Any, 0x0010},        {2, 0, Hlg::Any, 0x0020},      {2, 4, Hlg::Any, 0x0030},
    {2, 5, Hlg::Any, 0x0040},        {2, 6, Hlg::Any, 0x0050},      {2, 7, Hlg::Any, 0x0060},
    {2, 1, Hlg::Any, 0x0070},        {2, 8, Hlg::Any, 0x0080},      {2, 9, Hlg::Any, 0x0090},
    {2, 12, Hlg::Any, 0x00A0},       {2, 15, Hlg::NotOne, 0x00B0},  {2, 14, Hlg::Any, 0x00C0},
    {2, 15, Hlg::One, 0x00D0},       {16, 3, Hlg::Any, 0x1000},     {16, 12, Hlg::Any, 0x2000},
    {17, 15, Hlg::One, 0x3000},      {17, 15, Hlg::NotOne, 0x4000}, {17, 14, Hlg::Any, 0x5000},
    {14, 15, Hlg::OneOrTwo, 0x6000},
};

// Target gammas 0, 3 and 12 give class 1 rather than 3 in output mode 1.
enum class TargetGamma : uint8_t { Any, Short, Other };

struct ClassCode {
    uint32_t outputMode;
    TargetGamma targetGamma;
    uint32_t outputDepth;
    uint32_t kernelClass;
    uint32_t classFromGamma16Or17;  // source gammas 16 and 17 take the boosted classes
};

constexpr ClassCode kClassCodes[] = {
    {1, TargetGamma::Short, 0, 1, 1}, {1, TargetGamma::Short, 1, 2, 2},
    {1, TargetGamma::Other, 0, 3, 3}, {1, TargetGamma::Other, 1, 4, 4},
    {2, TargetGamma::Any, 0, 3, 3},   {2, TargetGamma::Any, 1, 4, 4},
    {0, TargetGamma::Any, 2, 5, 7},   {0, TargetGamma::Any, 3, 6, 8},
};

constexpr bool TargetGammaMatches(TargetGamma want, uint32_t targetGamma) {
    const bool isShort = targetGamma == 0 || targetGamma == 3 || targetGamma == 12;
    return want == TargetGamma::Any || (want == TargetGamma::Short) == isShort;
}

// ---- The first table: FindKernel ----------------------------------------------------------------

// Layout nibbles with kernels, and which of them a table row covers.
enum Layouts : uint8_t {
    kYuy2Only = 1 << 0,
    kYuv16Only = 1 << 1,
    kBgrLayouts = 1 << 2,
    kYuvLayouts = kYuy2Only | kYuv16Only,
    kAllLayouts = kYuvLayouts | kBgrLayouts,
};

constexpr uint8_t LayoutBit(InputLayout layout) {
    switch (layout) {
        case InputLayout::Yuy2:
            return kYuy2Only;
        case InputLayout::Yuv16:
            return kYuv16Only;
        case InputLayout::Bgr4:
        case InputLayout::Bgr16:
            return kBgrLayouts;
        case InputLayout::None:
            break;
    }
    return 0;
}

constexpr InputLayout LayoutOfNibble(uint32_t nibble) {
    switch (nibble) {
        case 1:
            return InputLayout::Yuy2;
        case 4:
            return InputLayout::Yuv16;
        case 9:
            return InputLayout::Bgr4;
        case 12:
            return InputLayout::Bgr16;
        default:
            return InputLayout::None;
    }
}

constexpr bool IsYuv(InputLayout layout) {
    return layout == InputLayout::Yuy2 || layout == InputLayout::Yuv16;
}

// A cell of the transition table: a 3D LUT number, or one of these.
constexpr uint8_t kNoKernel = 0xFF;   // the zero-fill kernel
constexpr uint8_t kFileTable = 0xFE;  // the file table (8-bit 4:2:2) or no look-up (other layouts)
constexpr uint8_t kPairZero = 0xFD;   // the table-driven kernels of pair 0

// One row per gamma transition (the pair without its gamut nibble), one column per gamut nibble
// 0..3 (3 is BT.2020 to BT.709, whose kernels use the BT.2020 matrix and range).
struct TransitionRow {
    uint16_t transition;
    std::array<uint8_t, 4> lutByGamut;
    uint8_t layouts = kAllLayouts;
};

constexpr TransitionRow kTransitionTable[] = {
    {0x000, {kPairZero, 3, 2, 4}},
    {0x001, {kFileTable, 9, 8, 10}},
    {0x002, {kFileTable, 12, 11, 13}},
    {0x003, {kNoKernel, 14, 14, 14}},
    {0x004, {kNoKernel, 16, 15, 17}},
    {0x005, {kNoKernel, 19, 18, 20}},
    {0x006, {kNoKernel, 19, 18, 20}},
    {0x007, {kNoKernel, 19, 18, 20}},
    {0x008, {kNoKernel, 19, 18, 20}},
    {0x009, {kNoKernel, kNoKernel, 21, kNoKernel}, kYuy2Only},
    {0x00A, {kFileTable, 6, 5, 7}},
    {0x00B, {0, kNoKernel, kNoKernel, 22}},
    {0x00C, {1, kNoKernel, kNoKernel, 23}},
    {0x00D, {40, kNoKernel, kNoKernel, 41}, kYuvLayouts},
    {0x100, {kFileTable, 9, 8, 10}},
    {0x200, {kFileTable, 6, 5, 7}},
    {0x300, {40, kNoKernel, kNoKernel, 41}, kYuvLayouts},
    {0x400, {0, kNoKernel, kNoKernel, 22}},
    {0x500, {1, kNoKernel, kNoKernel, 23}},
};

// The file tables hold complete gamut-0 conversions from three source gammas; the 3-byte set serves
// class 3 (output mode 1), the 4-byte set classes 5 and 6 (output mode 0).
struct FileTableRow {
    uint16_t transition;
    TableId fourBytesOut;
    TableId threeBytesOut;
};

constexpr FileTableRow kFileTables[] = {
    {0x002, TableId::ConvData01, TableId::ConvData02},  // source gamma 0
    {0x001, TableId::ConvData03, TableId::ConvData04},  // source gamma 3
    {0x100, TableId::ConvData03, TableId::ConvData04},
    {0x00A, TableId::ConvData05, TableId::ConvData06},  // source gamma 12
    {0x200, TableId::ConvData05, TableId::ConvData06},
};

// Pairs that the picture-bit classes hold; the others give the zero-fill kernel.
constexpr uint16_t kPicturePairs[] = {
    0x000, 0x001, 0x002, 0x00A, 0x011, 0x012, 0x01A, 0x021, 0x022, 0x02A, 0x031, 0x032, 0x03A,
    0x0F0, 0x100, 0x110, 0x120, 0x130, 0x200, 0x210, 0x220, 0x230, 0x300, 0x400, 0x500,
};

// The kernels of pair 0 and 0x0F0, by what the class does with video range.
enum class BaseForm : uint8_t {
    None,      // zero-fill
    Expanded,  // video range expanded to full range
    Plain,     // no range expansion
    Boosted,   // expanded, then boosted; 8-bit 4:2:2 only
};

enum class Transitions : uint8_t { None, All, PictureSubset };

struct ClassRow {
    uint32_t kernelClass;  // with the picture bit as 0x10
    PixelOrder order;
    BaseForm pair0;
    BaseForm pair0F0;
    Transitions transitions;
    bool runtimeTable;  // pair 0 of 8-bit 4:2:2 may read the run-time table
};

constexpr ClassRow kClassTable[] = {
    {0x01, PixelOrder::Rgb, BaseForm::Plain, BaseForm::Plain, Transitions::None, false},
    {0x03, PixelOrder::Rgb, BaseForm::Expanded, BaseForm::Expanded, Transitions::All, false},
    {0x05, PixelOrder::Rgb0, BaseForm::Expanded, BaseForm::Expanded, Transitions::All, true},
    {0x06, PixelOrder::Bgr0, BaseForm::Expanded, BaseForm::Expanded, Transitions::All, true},
    {0x07, PixelOrder::Rgb0, BaseForm::Boosted, BaseForm::None, Transitions::None, false},
    {0x08, PixelOrder::Bgr0, BaseForm::Boosted, BaseForm::None, Transitions::None, false},
    {0x11, PixelOrder::Rgb, BaseForm::Plain, BaseForm::Plain, Transitions::None, false},
    {0x13, PixelOrder::Rgb, BaseForm::Plain, BaseForm::Plain, Transitions::PictureSubset, false},
    {0x15, PixelOrder::Rgb0, BaseForm::Plain, BaseForm::Plain, Transitions::PictureSubset, false},
    {0x16, PixelOrder::Bgr0, BaseForm::Plain, BaseForm::Plain, Transitions::PictureSubset, false},
};

// The parts of a key that the tables look at.
struct KeyParts {
    uint32_t kernelClass;  // bits 16-20
    uint32_t pair;         // bits 4-15
    InputLayout layout;
    uint32_t transition;  // the pair without its gamut nibble
    uint32_t gamut;       // the gamut nibble
};

constexpr KeyParts Split(uint32_t key) {
    const uint32_t pair = (key >> 4) & 0xFFF;
    return {key >> 16, pair, LayoutOfNibble(key & 0xF), pair & 0xF0F, (pair >> 4) & 0xF};
}

template <typename Row, size_t N, typename Match>
constexpr const Row* FindRow(const Row (&rows)[N], Match match) {
    const Row* row = std::find_if(rows, rows + N, match);
    return row == rows + N ? nullptr : row;
}

constexpr OutputStage RangeOf(Matrix matrix) {
    return matrix == Matrix::Bt2020 ? OutputStage::Range2020 : OutputStage::Range709;
}

// Nibbles 9 and 12 carry no matrix: their input is already R, G, B.
constexpr Matrix MatrixFor(InputLayout layout, Matrix matrix) {
    return IsYuv(layout) ? matrix : Matrix::None;
}

KernelPlan BasePlan(const ClassRow& cls, BaseForm form, Matrix matrix, InputLayout layout,
                    bool pairZero) {
    KernelPlan plan;
    plan.layout = layout;
    plan.order = cls.order;
    plan.matrix = MatrixFor(layout, matrix);
    switch (form) {
        case BaseForm::None:
            return {};
        case BaseForm::Expanded:
            switch (layout) {
                case InputLayout::Yuy2:
                    plan.kind = KernelKind::IntegerExpanded;
                    if (cls.runtimeTable && pairZero) plan.table = TableId::Runtime;
                    break;
                case InputLayout::Yuv16:
                    plan.kind = KernelKind::Combined16;
                    break;
                default:
                    plan.kind = KernelKind::FloatChain;
                    plan.output = RangeOf(matrix);
                    break;
            }
            return plan;
        case BaseForm::Plain:
            switch (layout) {
                case InputLayout::Yuy2:
                    plan.kind = KernelKind::IntegerPlain;
                    break;
                case InputLayout::Yuv16:
                    plan.kind = KernelKind::FloatChain;
                    plan.output = OutputStage::By256;
                    break;
                default:
                    plan.kind = KernelKind::Reorder;
                    break;
            }
            return plan;
        case BaseForm::Boosted:
            if (layout != InputLayout::Yuy2) return {};
            plan.kind = KernelKind::IntegerBoosted;
            return plan;
    }
    return {};
}

KernelPlan TransitionPlan(const ClassRow& cls, const KeyParts& parts) {
    const TransitionRow* row = FindRow(
        kTransitionTable, [&](const TransitionRow& r) { return r.transition == parts.transition; });
    if (row == nullptr || parts.gamut > 3 || (row->layouts & LayoutBit(parts.layout)) == 0)
        return {};

    const uint8_t cell = row->lutByGamut[parts.gamut];
    const Matrix matrix = parts.gamut == 3 ? Matrix::Bt2020 : Matrix::Bt709;
    KernelPlan plan;
    plan.layout = parts.layout;
    plan.order = cls.order;
    plan.matrix = MatrixFor(parts.layout, matrix);
    plan.output = RangeOf(matrix);
    switch (cell) {
        case kNoKernel:
            return {};
        case kPairZero:
            return {};  // pair 0 is the base kernels' (handled by the caller)
        case kFileTable: {
            // 8-bit 4:2:2 reads the file table; the other layouts convert without a look-up.
            if (parts.layout != InputLayout::Yuy2) {
                plan.kind = KernelKind::FloatChain;
                return plan;
            }
            const FileTableRow* file = FindRow(kFileTables, [&](const FileTableRow& r) {
                return r.transition == parts.transition;
            });
            KernelPlan read;
            read.kind = KernelKind::FileTable;
            read.layout = parts.layout;
            read.order = cls.order;
            read.table = cls.order == PixelOrder::Rgb ? file->threeBytesOut : file->fourBytesOut;
            return read;
        }
        default:
            plan.kind = KernelKind::FloatChain;
            plan.lookup = Lookup::Lut3D;
            plan.lutNumber = cell;
            return plan;
    }
}

// ---- The second table: FindLookKernel -----------------------------------------------------------

struct LookRow {
    uint16_t pair;
    Lookup lookup;
    uint8_t lutNumber;
    Matrix matrix;
    PreScale preScale;
    OutputStage output;
    uint8_t layouts;
    bool withPictureBit;
};

// clang-format off
constexpr LookRow kLookTable[] = {
    // pair  look-up          LUT  matrix          pre-scale           output                  layouts      picture bit
    {0x00A, Lookup::Lut3D,   24, Matrix::Bt709,  PreScale::None,     OutputStage::Range709,  kYuvLayouts, true},
    {0x011, Lookup::Lut3D,   36, Matrix::Bt709,  PreScale::None,     OutputStage::Range709,  kYuvLayouts, true},
    {0x01A, Lookup::Lut3D,   38, Matrix::Bt709,  PreScale::None,     OutputStage::Range709,  kYuvLayouts, true},
    {0x030, Lookup::Lut3D,   35, Matrix::Bt2020, PreScale::None,     OutputStage::Range2020, kYuvLayouts, false},
    {0x037, Lookup::Lut3D,   32, Matrix::Bt2020, PreScale::None,     OutputStage::Range2020, kYuvLayouts, false},
    {0x03A, Lookup::Lut3D,   26, Matrix::Bt2020, PreScale::None,     OutputStage::Range2020, kYuvLayouts, true},
    {0x03B, Lookup::Lut3D,   30, Matrix::Bt2020, PreScale::None,     OutputStage::Range2020, kYuvLayouts, false},
    {0x03C, Lookup::Lut3D,   33, Matrix::Bt2020, PreScale::None,     OutputStage::Range2020, kYuvLayouts, false},
    {0x03D, Lookup::Lut3D,   28, Matrix::Bt2020, PreScale::None,     OutputStage::Range2020, kYuvLayouts, false},
    {0x110, Lookup::Lut3D,   37, Matrix::Bt709,  PreScale::Scale238, OutputStage::None,      kAllLayouts, true},
    {0x200, Lookup::Lut3D,   25, Matrix::Bt709,  PreScale::Scale238, OutputStage::None,      kAllLayouts, true},
    {0x210, Lookup::Lut3D,   39, Matrix::Bt709,  PreScale::Scale238, OutputStage::None,      kAllLayouts, true},
    {0x230, Lookup::Lut3D,   27, Matrix::Bt2020, PreScale::Scale238, OutputStage::None,      kAllLayouts, true},
    {0x330, Lookup::Lut3D,   29, Matrix::Bt2020, PreScale::Scale219, OutputStage::None,      kAllLayouts, true},
    {0x430, Lookup::Lut3D,   31, Matrix::Bt2020, PreScale::Scale219, OutputStage::None,      kAllLayouts, true},
    {0x530, Lookup::Lut3D,   34, Matrix::Bt2020, PreScale::Scale219, OutputStage::None,      kAllLayouts, true},
    {0x6F0, Lookup::Curve1D,  0, Matrix::Bt2020, PreScale::None,     OutputStage::Range2020, kAllLayouts, true},
};
// clang-format on

// Classes of the look table; the picture-bit ones take only the rows marked for them.
constexpr uint32_t kLookClasses[] = {0x03, 0x05, 0x06, 0x13, 0x15, 0x16};

}  // namespace

uint32_t MakeKernelKey(const MatchingParameters& p) {
    uint32_t key = 0;
    if (const LayoutCode* layout = FindRow(kLayoutCodes, [&](const LayoutCode& c) {
            return c.family == p.pixelFamily && c.format == p.pixelFormat;
        })) {
        key |= layout->nibble;
    }
    if (p.outputMode != 2) {
        if (p.targetGamut == 0) {
            if (const GamutCode* gamut = FindRow(kGamutCodes, [&](const GamutCode& c) {
                    return c.sourceGamut == p.sourceGamut;
                })) {
                key |= gamut->nibble << 8;
            }
        }
        if (p.sourceGamma != p.targetGamma) {
            if (const GammaTransition* t =
                    FindRow(kGammaTransitions, [&](const GammaTransition& c) {
                        return c.targetGamma == p.targetGamma && c.sourceGamma == p.sourceGamma &&
                               HlgMatches(c.hlg, p.hlgColor);
                    })) {
                key |= t->keyBits;
            }
        }
    }
    if (p.sourceGamut == 3 && p.targetGamut == 3) key |= kGamut3To3;
    if (const ClassCode* code = FindRow(kClassCodes, [&](const ClassCode& c) {
            return c.outputMode == p.outputMode && c.outputDepth == p.outputDepth &&
                   TargetGammaMatches(c.targetGamma, p.targetGamma);
        })) {
        const bool boosted = p.sourceGamma == 16 || p.sourceGamma == 17;
        key |= (boosted ? code->classFromGamma16Or17 : code->kernelClass) << 16;
    }
    if (p.pictureFlag != 0) key |= kPictureBit;
    return key;
}

KernelPlan PlanKernel(uint32_t key) {
    if ((key & ~kHeldKeyBits) != 0) return {};
    const KeyParts parts = Split(key);
    const ClassRow* cls =
        FindRow(kClassTable, [&](const ClassRow& c) { return c.kernelClass == parts.kernelClass; });
    if (cls == nullptr || parts.layout == InputLayout::None) return {};

    if (parts.pair == 0) return BasePlan(*cls, cls->pair0, Matrix::Bt709, parts.layout, true);
    if (parts.pair == kGamut3To3 >> 4) {
        return BasePlan(*cls, cls->pair0F0, Matrix::Bt2020, parts.layout, false);
    }
    switch (cls->transitions) {
        case Transitions::None:
            return {};
        case Transitions::All:
            break;
        case Transitions::PictureSubset:
            if (std::find(std::begin(kPicturePairs), std::end(kPicturePairs), parts.pair) ==
                std::end(kPicturePairs)) {
                return {};
            }
            break;
    }
    return TransitionPlan(*cls, parts);
}

std::optional<KernelPlan> PlanLookKernel(uint32_t key) {
    if ((key & ~kHeldKeyBits) != 0) return std::nullopt;
    const KeyParts parts = Split(key);
    const bool picture = (key & kPictureBit) != 0;
    if (std::find(std::begin(kLookClasses), std::end(kLookClasses), parts.kernelClass) ==
        std::end(kLookClasses)) {
        return std::nullopt;
    }
    const LookRow* row =
        FindRow(kLookTable, [&](const LookRow& r) { return r.pair == parts.pair; });
    if (row == nullptr || (row->layouts & LayoutBit(parts.layout)) == 0 ||
        (picture && !row->withPictureBit)) {
        return std::nullopt;
    }
    const ClassRow* cls =
        FindRow(kClassTable, [&](const ClassRow& c) { return c.kernelClass == parts.kernelClass; });
    KernelPlan plan;
    plan.kind = KernelKind::FloatChain;
    plan.layout = parts.layout;
    plan.matrix = MatrixFor(parts.layout, row->matrix);
    // A picture that needs no range expansion skips the pre-scale, which is that expansion.
    plan.preScale = picture ? PreScale::None : row->preScale;
    plan.lookup = row->lookup;
    plan.lutNumber = row->lutNumber;
    plan.output = row->output;
    plan.order = cls->order;
    return plan;
}

}  // namespace image

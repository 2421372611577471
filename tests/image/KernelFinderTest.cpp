// The key and the two kernel tables: each row of the transition, base and look tables, written
// here from the tables themselves, against the plans that the finders give; every other key gets
// the zero-fill plan (first table) or nothing (look table).
#include "image/KernelFinder.h"
#include "image/RowKernel.h"

#include <gtest/gtest.h>

#include <ostream>

namespace image {
void PrintTo(const KernelPlan& plan, std::ostream* os) {
    *os << Describe(plan);
}
}  // namespace image

namespace {

using namespace image;

constexpr uint32_t kLayoutNibbles[] = {1, 4, 9, 12};

bool IsYuv(uint32_t nibble) {
    return nibble == 1 || nibble == 4;
}

// Classes 1 and 3 write R, G, B; 5 and 7 R, G, B, 0; 6 and 8 B, G, R, 0.
PixelOrder OrderOf(uint32_t kernelClass) {
    const uint32_t c = kernelClass & 0xF;
    return c == 1 || c == 3   ? PixelOrder::Rgb
           : c == 5 || c == 7 ? PixelOrder::Rgb0
                              : PixelOrder::Bgr0;
}

using K = KernelKind;
using M = Matrix;
using O = OutputStage;
using P = PixelOrder;

KernelPlan Plan(K kind, uint32_t nibble, M matrix, O output, P order,
                TableId table = TableId::None) {
    KernelPlan plan;
    plan.kind = kind;
    plan.layout = InputLayout(nibble);
    plan.matrix = matrix;
    plan.output = output;
    plan.order = order;
    plan.table = table;
    return plan;
}

KernelPlan LutPlan(uint32_t nibble, M matrix, PreScale scale, int lut, O output, P order) {
    KernelPlan plan = Plan(K::FloatChain, nibble, IsYuv(nibble) ? matrix : M::None, output, order);
    plan.preScale = scale;
    plan.lookup = lut < 0 ? Lookup::Curve1D : Lookup::Lut3D;
    plan.lutNumber = uint8_t(lut < 0 ? 0 : lut);
    return plan;
}

// ---- MakeKernelKey --------------------------------------------------------------------------

struct Transition {
    uint32_t sourceGamma, targetGamma, hlgColor, bits;
};

class KeyTransition : public testing::TestWithParam<Transition> {};

// Every transition, composed with gamuts, output forms, layouts and the picture flag: the key is
// the sum of what each part gives, and output mode 2 keeps only the gamut 3 to 3 mark.
TEST_P(KeyTransition, ComposesWithGamutClassLayoutAndPictureFlag) {
    const Transition t = GetParam();
    // {source gamut, target gamut, bits}, {output mode, depth, class}, {family, format, nibble}
    const uint32_t gamuts[][3] = {{0, 0, 0},     {2, 0, 0x100}, {4, 0, 0x200}, {3, 0, 0x300},
                                  {3, 3, 0xF00}, {0, 3, 0},     {2, 2, 0},     {1, 0, 0}};
    const uint32_t outputs[][3] = {{0, 2, 5}, {0, 3, 6}, {1, 0, 3}, {1, 1, 4},
                                   {2, 0, 3}, {2, 1, 4}, {0, 0, 0}, {1, 3, 0}};
    const uint32_t layouts[][3] = {{0, 0, 1}, {3, 3, 4}, {0, 8, 9}, {3, 11, 12},
                                   {3, 1, 2}, {0, 4, 5}, {0, 3, 0}, {1, 0, 0}};
    // Sources 16 and 17 take classes 7 and 8 in place of 5 and 6.
    const uint32_t boost = t.sourceGamma == 16 || t.sourceGamma == 17 ? 2 : 0;
    for (const auto& g : gamuts)
        for (const auto& o : outputs)
            for (const auto& l : layouts)
                for (uint8_t picture : {0, 1}) {
                    MatchingParameters p{.sourceGamut = g[0], .targetGamut = g[1]};
                    p.sourceGamma = t.sourceGamma;
                    p.targetGamma = t.targetGamma;
                    p.hlgColor = t.hlgColor;
                    p.outputMode = o[0];
                    p.outputDepth = o[1];
                    p.pixelFamily = l[0];
                    p.pixelFormat = l[1];
                    p.pictureFlag = picture;
                    const uint32_t colour = o[0] == 2 ? (g[2] == 0xF00 ? 0xF00 : 0) : g[2] | t.bits;
                    const uint32_t kernelClass = o[2] >= 5 ? o[2] + boost : o[2];
                    const uint32_t want =
                        l[2] | colour | kernelClass << 16 | (picture ? 0x100000u : 0u);
                    ASSERT_EQ(MakeKernelKey(p), want)
                        << "gamut " << g[0] << "->" << g[1] << " mode " << o[0] << " depth " << o[1]
                        << " layout " << l[2] << " picture " << int(picture);
                }
}

INSTANTIATE_TEST_SUITE_P(
    Transitions, KeyTransition,
    testing::Values(Transition{3, 2, 0, 0x10}, Transition{0, 2, 0, 0x20}, Transition{4, 2, 0, 0x30},
                    Transition{5, 2, 0, 0x40}, Transition{6, 2, 0, 0x50}, Transition{7, 2, 0, 0x60},
                    Transition{1, 2, 0, 0x70}, Transition{8, 2, 0, 0x80}, Transition{9, 2, 0, 0x90},
                    Transition{12, 2, 0, 0xA0}, Transition{15, 2, 0, 0xB0},
                    Transition{15, 2, 255, 0xB0}, Transition{15, 2, 2, 0xB0},
                    Transition{14, 2, 0, 0xC0}, Transition{15, 2, 1, 0xD0},
                    Transition{3, 16, 0, 0x1000}, Transition{12, 16, 0, 0x2000},
                    Transition{15, 17, 1, 0x3000}, Transition{15, 17, 0, 0x4000},
                    Transition{15, 17, 255, 0x4000}, Transition{14, 17, 0, 0x5000},
                    Transition{15, 14, 1, 0x6000}, Transition{15, 14, 2, 0x6000},
                    Transition{15, 14, 0, 0}, Transition{15, 14, 255, 0}, Transition{2, 2, 0, 0},
                    Transition{16, 2, 0, 0}, Transition{0, 16, 0, 0}, Transition{17, 2, 0, 0},
                    Transition{4, 17, 1, 0}));

TEST(KernelKey, ClassFollowsTargetGammaAndBoostedSources) {
    MatchingParameters p;
    p.outputMode = 1;
    for (uint32_t gamma : {0u, 3u, 12u}) {
        p.targetGamma = gamma;
        p.sourceGamma = gamma;
        EXPECT_EQ(MakeKernelKey(p), 0x10001u) << gamma;
        p.outputDepth = 1;
        EXPECT_EQ(MakeKernelKey(p), 0x20001u) << gamma;
        p.outputDepth = 0;
    }
    p = {};
    p.outputDepth = 3;
    p.sourceGamma = 16;
    EXPECT_EQ(MakeKernelKey(p), 0x80001u);  // YUY2
    p.pixelFormat = 8;
    EXPECT_EQ(MakeKernelKey(p), 0x80009u);  // BGR4: a key no table holds
    EXPECT_EQ(PlanKernel(0x80009), KernelPlan{});
    p.sourceGamma = 17;
    p.outputDepth = 2;
    EXPECT_EQ(MakeKernelKey(p), 0x70009u);
}

TEST(KernelKey, TableEdgeCases) {
    const KernelPlan file{
        .kind = KernelKind::FileTable, .layout = InputLayout::Yuy2, .table = TableId::ConvData01};
    for (uint8_t picture : {0, 1}) {
        const uint32_t key =
            MakeKernelKey({.targetGamma = 2, .outputDepth = 3, .pictureFlag = picture});
        EXPECT_EQ(key, picture ? 0x160021u : 0x60021u);
        EXPECT_EQ(PlanKernel(key), file);
    }
    EXPECT_EQ(MakeKernelKey({.sourceGamut = 3,
                             .sourceGamma = 15,
                             .targetGamma = 17,
                             .outputDepth = 3,
                             .lookType = 255}),
              0x64301u);
    EXPECT_EQ(Describe(PlanKernel(0x64301)), "FloatChain yuy2 bt2020 lut3d#22 range2020 bgr0");
    EXPECT_EQ(Describe(PlanLookKernel(0x64301).value()),
              "FloatChain yuy2 bt2020 scale219 lut3d#31 bgr0");
}

// ---- The first table: transitions of classes 3, 5 and 6 --------------------------------------

constexpr int kDash = -1, kFile = -2;

struct TransitionRow {
    uint32_t pair;  // gamut nibble 0
    int luts[4];    // by gamut nibble 0..3
    bool yuy2Only = false, yuvOnly = false;
    uint32_t fileGamma = 0;  // the source gamma whose file table a kFile cell reads
};

class KernelTransition : public testing::TestWithParam<TransitionRow> {};

// The file tables of source gammas 0, 3 and 12: 01, 03, 05 for 4 bytes a pixel out, 02, 04, 06 for
// the 3 bytes of class 3.
TableId FileTableOf(uint32_t sourceGamma, uint32_t kernelClass) {
    const int first = sourceGamma == 0 ? 0 : sourceGamma == 3 ? 2 : 4;
    return TableId(first + ((kernelClass & 0xF) == 3 ? 1 : 0));
}

TEST_P(KernelTransition, EachGamutClassAndLayout) {
    const TransitionRow row = GetParam();
    const uint32_t picturePairs[] = {0x001, 0x002, 0x00A, 0x011, 0x012, 0x01A, 0x021, 0x022,
                                     0x02A, 0x031, 0x032, 0x03A, 0x100, 0x110, 0x120, 0x130,
                                     0x200, 0x210, 0x220, 0x230, 0x300, 0x400, 0x500};
    for (uint32_t kernelClass : {0x03u, 0x05u, 0x06u, 0x13u, 0x15u, 0x16u})
        for (uint32_t gamut = 0; gamut < 4; ++gamut)
            for (uint32_t nibble : kLayoutNibbles) {
                const uint32_t pair = row.pair | gamut << 4;
                if (pair == 0) continue;  // the base table's
                const uint32_t key = kernelClass << 16 | pair << 4 | nibble;
                const int cell = row.luts[gamut];
                const bool layoutHeld = row.yuy2Only ? nibble == 1 : !row.yuvOnly || IsYuv(nibble);
                const bool pictureHeld =
                    kernelClass < 0x10 ||
                    std::count(std::begin(picturePairs), std::end(picturePairs), pair) == 1;
                const M matrix = gamut == 3 ? M::Bt2020 : M::Bt709;
                const O range = gamut == 3 ? O::Range2020 : O::Range709;
                KernelPlan want;
                if (cell == kFile && nibble == 1) {
                    want = Plan(K::FileTable, 1, M::None, O::None, OrderOf(kernelClass),
                                FileTableOf(row.fileGamma, kernelClass));
                } else if (cell == kFile) {
                    want = LutPlan(nibble, matrix, PreScale::None, 0, range, OrderOf(kernelClass));
                    want.lookup = Lookup::None;
                } else if (cell != kDash && layoutHeld) {
                    want =
                        LutPlan(nibble, matrix, PreScale::None, cell, range, OrderOf(kernelClass));
                }
                if (!pictureHeld) want = {};
                ASSERT_EQ(PlanKernel(key), want) << std::hex << "key 0x" << key;
            }
}

INSTANTIATE_TEST_SUITE_P(
    Transitions, KernelTransition,
    testing::Values(
        TransitionRow{0x000, {kDash, 3, 2, 4}},  // pair 0 itself: base table
        TransitionRow{0x001, {kFile, 9, 8, 10}, false, false, 3},
        TransitionRow{0x002, {kFile, 12, 11, 13}, false, false, 0},
        TransitionRow{0x003, {kDash, 14, 14, 14}}, TransitionRow{0x004, {kDash, 16, 15, 17}},
        TransitionRow{0x005, {kDash, 19, 18, 20}}, TransitionRow{0x006, {kDash, 19, 18, 20}},
        TransitionRow{0x007, {kDash, 19, 18, 20}}, TransitionRow{0x008, {kDash, 19, 18, 20}},
        TransitionRow{0x009, {kDash, kDash, 21, kDash}, true},
        TransitionRow{0x00A, {kFile, 6, 5, 7}, false, false, 12},
        TransitionRow{0x00B, {0, kDash, kDash, 22}}, TransitionRow{0x00C, {1, kDash, kDash, 23}},
        TransitionRow{0x00D, {40, kDash, kDash, 41}, false, true},
        TransitionRow{0x100, {kFile, 9, 8, 10}, false, false, 3},
        TransitionRow{0x200, {kFile, 6, 5, 7}, false, false, 12},
        TransitionRow{0x300, {40, kDash, kDash, 41}, false, true},
        TransitionRow{0x400, {0, kDash, kDash, 22}}, TransitionRow{0x500, {1, kDash, kDash, 23}}));

// ---- The first table: pair 0 and pair 0x0F0 ----------------------------------------------------

struct BaseRow {
    uint32_t key;
    KernelPlan plan;
};

class KernelBase : public testing::TestWithParam<BaseRow> {};

TEST_P(KernelBase, Plan) {
    EXPECT_EQ(PlanKernel(GetParam().key), GetParam().plan);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, KernelBase,
    testing::Values(
        // Classes 3, 5, 6: range expansion; 5 and 6 may read the run-time table at pair 0.
        BaseRow{0x60001, Plan(K::IntegerExpanded, 1, M::Bt709, O::None, P::Bgr0, TableId::Runtime)},
        BaseRow{0x50001, Plan(K::IntegerExpanded, 1, M::Bt709, O::None, P::Rgb0, TableId::Runtime)},
        BaseRow{0x30001, Plan(K::IntegerExpanded, 1, M::Bt709, O::None, P::Rgb)},
        BaseRow{0x60004, Plan(K::Combined16, 4, M::Bt709, O::None, P::Bgr0)},
        BaseRow{0x60009, Plan(K::FloatChain, 9, M::None, O::Range709, P::Bgr0)},
        BaseRow{0x60F01, Plan(K::IntegerExpanded, 1, M::Bt2020, O::None, P::Bgr0)},
        BaseRow{0x30F04, Plan(K::Combined16, 4, M::Bt2020, O::None, P::Rgb)},
        BaseRow{0x50F09, Plan(K::FloatChain, 9, M::None, O::Range2020, P::Rgb0)},
        // Class 1: no expansion, with or without the picture bit.
        BaseRow{0x10001, Plan(K::IntegerPlain, 1, M::Bt709, O::None, P::Rgb)},
        BaseRow{0x10F01, Plan(K::IntegerPlain, 1, M::Bt2020, O::None, P::Rgb)},
        BaseRow{0x10004, Plan(K::FloatChain, 4, M::Bt709, O::By256, P::Rgb)},
        BaseRow{0x110F04, Plan(K::FloatChain, 4, M::Bt2020, O::By256, P::Rgb)},
        BaseRow{0x10F0C, Plan(K::Reorder, 12, M::None, O::None, P::Rgb)},
        BaseRow{0x10011, KernelPlan{}},
        // Classes 7 and 8: the boosted 8-bit kernel at pair 0 only.
        BaseRow{0x70001, Plan(K::IntegerBoosted, 1, M::Bt709, O::None, P::Rgb0)},
        BaseRow{0x80001, Plan(K::IntegerBoosted, 1, M::Bt709, O::None, P::Bgr0)},
        BaseRow{0x80004, KernelPlan{}}, BaseRow{0x80F01, KernelPlan{}},
        BaseRow{0x180001, KernelPlan{}},
        // The picture bit: no expansion, in the class's own order.
        BaseRow{0x160001, Plan(K::IntegerPlain, 1, M::Bt709, O::None, P::Bgr0)},
        BaseRow{0x150F01, Plan(K::IntegerPlain, 1, M::Bt2020, O::None, P::Rgb0)},
        BaseRow{0x130004, Plan(K::FloatChain, 4, M::Bt709, O::By256, P::Rgb)},
        BaseRow{0x160F0C, Plan(K::Reorder, 12, M::None, O::None, P::Bgr0)},
        // Classes 2 and 4, layouts without kernels, pair 0x6F0 and bits above the picture bit.
        BaseRow{0x20001, KernelPlan{}}, BaseRow{0x40001, KernelPlan{}},
        BaseRow{0x60002, KernelPlan{}}, BaseRow{0x66F01, KernelPlan{}},
        BaseRow{0x260001, KernelPlan{}}));

// ---- The second table ----------------------------------------------------------------------

struct LookRow {
    uint32_t pair;
    int lut;  // -1: the 1D curve
    Matrix matrix;
    PreScale preScale;
    OutputStage output;
    bool allLayouts, withPictureBit;
};

class LookTable : public testing::TestWithParam<LookRow> {};

constexpr PreScale kNoScale = PreScale::None, k238 = PreScale::Scale238, k219 = PreScale::Scale219;

TEST_P(LookTable, EachClassAndLayout) {
    const LookRow row = GetParam();
    for (uint32_t kernelClass : {0x03u, 0x05u, 0x06u, 0x13u, 0x15u, 0x16u, 0x01u, 0x08u, 0x11u})
        for (uint32_t nibble : kLayoutNibbles) {
            const uint32_t key = kernelClass << 16 | row.pair << 4 | nibble;
            const bool picture = kernelClass >= 0x10;
            const bool held = (kernelClass & 0xF) >= 3 && (kernelClass & 0xF) <= 6 &&
                              (row.allLayouts || IsYuv(nibble)) && (!picture || row.withPictureBit);
            if (!held) {
                EXPECT_EQ(PlanLookKernel(key), std::nullopt) << std::hex << "key 0x" << key;
                continue;
            }
            const KernelPlan want = LutPlan(nibble, row.matrix, picture ? kNoScale : row.preScale,
                                            row.lut, row.output, OrderOf(kernelClass));
            EXPECT_EQ(PlanLookKernel(key), want) << std::hex << "key 0x" << key;
        }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LookTable,
    testing::Values(LookRow{0x00A, 24, M::Bt709, kNoScale, O::Range709, false, true},
                    LookRow{0x011, 36, M::Bt709, kNoScale, O::Range709, false, true},
                    LookRow{0x01A, 38, M::Bt709, kNoScale, O::Range709, false, true},
                    LookRow{0x030, 35, M::Bt2020, kNoScale, O::Range2020, false, false},
                    LookRow{0x037, 32, M::Bt2020, kNoScale, O::Range2020, false, false},
                    LookRow{0x03A, 26, M::Bt2020, kNoScale, O::Range2020, false, true},
                    LookRow{0x03B, 30, M::Bt2020, kNoScale, O::Range2020, false, false},
                    LookRow{0x03C, 33, M::Bt2020, kNoScale, O::Range2020, false, false},
                    LookRow{0x03D, 28, M::Bt2020, kNoScale, O::Range2020, false, false},
                    LookRow{0x110, 37, M::Bt709, k238, O::None, true, true},
                    LookRow{0x200, 25, M::Bt709, k238, O::None, true, true},
                    LookRow{0x210, 39, M::Bt709, k238, O::None, true, true},
                    LookRow{0x230, 27, M::Bt2020, k238, O::None, true, true},
                    LookRow{0x330, 29, M::Bt2020, k219, O::None, true, true},
                    LookRow{0x430, 31, M::Bt2020, k219, O::None, true, true},
                    LookRow{0x530, 34, M::Bt2020, k219, O::None, true, true},
                    LookRow{0x6F0, -1, M::Bt2020, kNoScale, O::Range2020, true, true}));

// ---- Everything else ------------------------------------------------------------------------

// Every key of every class, pair and layout nibble: the tables hold exactly as many keys as the
// rows above name, and the rest get the one zero-fill plan or nothing. First table: classes 3, 5
// and 6 hold 213 keys each, class 1 and class 0x11 8, classes 7 and 8 one, classes 0x13, 0x15 and
// 0x16 98 each. Look table: 50 keys for each of 3, 5 and 6, 40 for each picture-bit class.
TEST(KernelTables, HoldNoOtherKeys) {
    uint32_t held = 0, looks = 0;
    for (uint32_t key = 0; key < 0x200000; ++key) {
        const KernelPlan plan = PlanKernel(key);
        if (plan.kind != KernelKind::ZeroFill) {
            ++held;
        } else if (plan != KernelPlan{}) {
            ADD_FAILURE() << "zero-fill plan with stages: " << Describe(plan);
        }
        looks += PlanLookKernel(key).has_value();
    }
    EXPECT_EQ(held, 3 * 213 + 8 + 8 + 2 + 3 * 98);
    EXPECT_EQ(looks, 3 * 50 + 3 * 40);
    for (uint32_t high : {0x200000u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(PlanKernel(high | 0x60001), KernelPlan{});
        EXPECT_EQ(PlanLookKernel(high | 0x64301), std::nullopt);
    }
}

// The finders hand out the kernels of these plans: never null from the first table, null from the
// look table where it holds nothing.
TEST(KernelTables, FindersCarryThePlans) {
    for (uint32_t key : {0x60021u, 0x160021u, 0x64301u, 0x80009u, 0x66F01u, 0x166F0Cu, 0x30F04u}) {
        const RowKernel kernel = FindKernel(key);
        ASSERT_TRUE(kernel) << std::hex << key;
        EXPECT_EQ(kernel.Plan(), PlanKernel(key));
        const RowKernel look = FindLookKernel(key);
        EXPECT_EQ(bool(look), PlanLookKernel(key).has_value()) << std::hex << key;
        if (look) {
            EXPECT_EQ(look.Plan(), *PlanLookKernel(key));
        }
    }
}

}  // namespace

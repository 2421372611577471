// The scalar row kernels: integer-table pixels against the formulas, the look-ups at their edges,
// chroma at group and row ends, packing's rounding, and what a kernel must not write (padding,
// rows 0, a missing table). The kernels run through the seam that takes the look-up data as an
// argument, so that known LUTs and tables stand in for the colour model.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "image/ChainTable.h"
#include "image/FloatStages.h"
#include "image/IntegerTables.h"
#include "image/KernelData.h"
#include "image/RowKernel.h"
#include "image/ScalarKernels.h"
#include "image/SharedTables.h"

namespace {

using namespace image;

constexpr uint8_t kUntouched = 0xAA;

KernelPlan Plan(KernelKind kind, InputLayout layout, Matrix matrix, PixelOrder order,
                OutputStage output = OutputStage::None, Lookup lookup = Lookup::None) {
    KernelPlan plan;
    plan.kind = kind;
    plan.layout = layout;
    plan.matrix = matrix;
    plan.order = order;
    plan.output = output;
    plan.lookup = lookup;
    return plan;
}

// The output of `rows` rows of 4 × (lastGroup + 1) pixels, in a buffer that starts as kUntouched.
std::vector<uint8_t> Convert(const KernelPlan& plan, const std::vector<uint8_t>& source,
                             uint32_t lastGroup, uint32_t rows, uint32_t linePadding = 0,
                             const KernelInputs& inputs = {}) {
    const size_t stride = ((lastGroup + 1) * 4 + linePadding) * OutputPixelBytes(plan.order);
    std::vector<uint8_t> out(stride * rows + 64, kUntouched);
    scalar::Run(plan, inputs, source.data(), out.data(), lastGroup, rows, linePadding);
    return out;
}

// A YUY2 group whose four pixels share Y and chroma.
std::vector<uint8_t> FlatGroup(uint8_t y, uint8_t cb, uint8_t cr) {
    return {y, cb, y, cr, y, cb, y, cr};
}

// ---- Integer tables, from the formulas ---------------------------------------------------------

struct IntegerCase {
    KernelKind kind;
    Matrix matrix;
    uint8_t y, cb, cr;
};

class IntegerTableTest : public testing::TestWithParam<IntegerCase> {};

TEST_P(IntegerTableTest, PixelFollowsTheTableRules) {
    const IntegerCase c = GetParam();
    const bool bt2020 = c.matrix == Matrix::Bt2020;
    const double kr = bt2020 ? 1.4746 : 1.5748, kb = bt2020 ? 1.8814 : 1.8556;
    const double kgb = bt2020 ? 0.1646 : 0.1873, kgr = bt2020 ? 0.5714 : 0.4681;
    const double u = c.cb - 128.0, v = c.cr - 128.0;
    double r, g, b;
    if (c.kind == KernelKind::IntegerPlain) {
        // Factors × 10000 in integers, + 5000, cut towards zero.
        r = std::trunc((10000.0 * c.y + std::round(kr * 10000) * v + 5000) / 10000);
        b = std::trunc((10000.0 * c.y + std::round(kb * 10000) * u + 5000) / 10000);
        g = std::trunc(
            (10000.0 * c.y - std::round(kgb * 10000) * u - std::round(kgr * 10000) * v + 5000) /
            10000);
    } else {
        const double yx = std::trunc((c.y - 16.0) * 10000 * 256 / 239);
        r = std::trunc((yx + std::trunc(kr * 8 / 7 * 10000 * v) + 5000) / 10000);
        b = std::trunc((yx + std::trunc(kb * 8 / 7 * 10000 * u) + 5000) / 10000);
        g = std::trunc((yx + std::trunc(-(kgb * u + kgr * v) * 8 / 7 * 10000) + 5000) / 10000);
    }
    std::vector<uint8_t> expected;
    for (double v : {r, g, b}) {
        v = std::clamp(v, 0.0, 255.0);
        if (c.kind == KernelKind::IntegerBoosted) v = std::min(std::trunc(v * 1.086758), 255.0);
        expected.push_back(static_cast<uint8_t>(v));
    }
    expected.push_back(0);
    const auto out = Convert(Plan(c.kind, InputLayout::Yuy2, c.matrix, PixelOrder::Rgb0),
                             FlatGroup(c.y, c.cb, c.cr), 0, 1);
    for (unsigned pixel = 0; pixel < 4; ++pixel) {
        EXPECT_EQ(std::vector<uint8_t>(&out[pixel * 4], &out[pixel * 4 + 4]), expected) << pixel;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Sets, IntegerTableTest,
    testing::Values(IntegerCase{KernelKind::IntegerPlain, Matrix::Bt709, 128, 128, 128},
                    IntegerCase{KernelKind::IntegerPlain, Matrix::Bt709, 81, 90, 240},
                    IntegerCase{KernelKind::IntegerPlain, Matrix::Bt709, 16, 16, 16},
                    IntegerCase{KernelKind::IntegerPlain, Matrix::Bt2020, 145, 54, 34},
                    IntegerCase{KernelKind::IntegerExpanded, Matrix::Bt709, 235, 128, 128},
                    IntegerCase{KernelKind::IntegerExpanded, Matrix::Bt709, 10, 200, 60},
                    IntegerCase{KernelKind::IntegerExpanded, Matrix::Bt709, 120, 77, 181},
                    IntegerCase{KernelKind::IntegerExpanded, Matrix::Bt2020, 100, 140, 110},
                    IntegerCase{KernelKind::IntegerBoosted, Matrix::Bt709, 200, 150, 100},
                    IntegerCase{KernelKind::IntegerBoosted, Matrix::Bt709, 60, 128, 128}));

// ---- Float stages, from the formulas in double precision ------------------------------------

struct FloatCase {
    const char* name;
    KernelPlan plan;
};

// What a plan without a look-up gives for one pixel (y, cb, cr; or r, g, b for BGR layouts).
std::array<double, 3> Expected(const KernelPlan& plan, double y, double cb, double cr) {
    const bool wide = plan.layout == InputLayout::Yuv16 || plan.layout == InputLayout::Bgr16;
    const bool bt2020 = plan.matrix == Matrix::Bt2020;
    const double top = wide ? 65535 : 255, zero = wide ? 32768 : 128;
    auto limit = [](double v, double t) { return std::clamp(v, 0.0, t); };
    if (plan.kind == KernelKind::Combined16) {
        const double ky = bt2020 ? 1.0711 : 1.0711297;
        const double r =
            bt2020 ? 1.6853 * cr + ky * y - 59609.855 : 1.7997714 * cr + ky * y - 63362.258;
        const double g = bt2020 ? -0.1881 * cb - 0.653 * cr + ky * y + 23171.738
                                : -0.21405715 * cb - 0.5349714 * cr + ky * y + 20156.82;
        const double b =
            bt2020 ? 2.1502 * cb + ky * y - 74844.16 : 2.1206858 * cb + ky * y - 73877.98;
        return {limit(r / 256, 255), limit(g / 256, 255), limit(b / 256, 255)};
    }
    double r = cr, g = cb, b = y;  // BGR layouts: the arguments are R, G, B
    if (plan.matrix != Matrix::None) {
        const double u = cb - zero, v = cr - zero;
        r = limit(y + (bt2020 ? 1.4746 : 1.5748) * v, top);
        g = limit(y - (bt2020 ? 0.5714 * v + 0.1646 * u : 0.4681 * v + 0.1873 * u), top);
        b = limit(y + (bt2020 ? 1.8814 : 1.8556) * u, top);
    }
    if (plan.preScale != PreScale::None) {
        const bool s238 = plan.preScale == PreScale::Scale238;
        const double a = wide ? (s238 ? 1.0756 : 1.1689) : (s238 ? 1.0714 : 1.1644);
        const double o = wide ? (s238 ? -4405.7144 : -4787.9453) : (s238 ? -17.1429 : -18.6301);
        r = limit(r * a + o, top), g = limit(g * a + o, top), b = limit(b * a + o, top);
    }
    const double o = wide ? 4387.328 : 17.138, k = wide ? 1 / 256.0 : 1;
    switch (plan.output) {
        case OutputStage::Range709:
            return {limit((1.1276 * r - o - (0.0051 * b + 0.0514 * g)) * k, 255),
                    limit((-0.0052 * b + 1.0916 * g - (0.0152 * r + o)) * k, 255),
                    limit((1.1377 * b - 0.0512 * g - (0.0153 * r + o)) * k, 255)};
        case OutputStage::Range2020:
            return {limit((1.124 * r - o - (0.0043 * b + 0.0486 * g)) * k, 255),
                    limit((1.0942 * g - 0.0043 * b - (0.0188 * r + o)) * k, 255),
                    limit((1.1386 * b - 0.0486 * g - (0.0188 * r + o)) * k, 255)};
        case OutputStage::By256:
            return {limit(r / 256, 255), limit(g / 256, 255), limit(b / 256, 255)};
        case OutputStage::None:
            break;
    }
    const double n = wide ? 255 / 65535.0 : 1;
    return {limit(r * n, 255), limit(g * n, 255), limit(b * n, 255)};
}

class FloatStageTest : public testing::TestWithParam<FloatCase> {};

// Random pixels; a channel whose exact value lies within 0.02 of a rounding boundary is left out,
// the others must round to the same byte — a wrong constant or order shows in some of them.
TEST_P(FloatStageTest, PixelsRoundAsTheExactValue) {
    const KernelPlan plan = GetParam().plan;
    const bool wide = plan.layout == InputLayout::Yuv16 || plan.layout == InputLayout::Bgr16;
    const bool yuv = plan.layout == InputLayout::Yuy2 || plan.layout == InputLayout::Yuv16;
    uint32_t seed = 99;
    unsigned checked = 0;
    for (unsigned sample = 0; sample < 500; ++sample) {
        uint16_t e[3];
        for (uint16_t& v : e) {
            seed = seed * 1664525 + 1013904223;
            v = wide ? uint16_t(seed >> 16) : uint8_t(seed >> 24);
        }
        // A flat group (Y Cb Y Cr Y Cb Y Cr) or four B, G, R, unused pixels.
        const uint16_t group[8] = {e[0], e[1], e[0], e[2], e[0], e[1], e[0], e[2]};
        const uint16_t bgr[8] = {e[0], e[1], e[2], 0, e[0], e[1], e[2], 0};
        std::vector<uint8_t> in;
        for (unsigned k = 0; k < (yuv ? 8u : 16u); ++k) {
            const uint16_t v = yuv ? group[k] : bgr[k % 8];
            if (wide) in.push_back(uint8_t(v));
            in.push_back(uint8_t(wide ? v >> 8 : v));
        }
        const auto out = Convert(plan, in, 0, 1);
        const auto exact = Expected(plan, e[0], e[1], e[2]);
        for (unsigned c = 0; c < 3; ++c) {
            const double v = exact[c];
            if (std::abs(v - std::floor(v) - 0.5) < 0.02) continue;
            ++checked;
            ASSERT_EQ(int{out[plan.order == PixelOrder::Bgr0 ? 2 - c : c]}, std::lround(v))
                << "channel " << c << " of " << e[0] << " " << e[1] << " " << e[2];
        }
    }
    EXPECT_GT(checked, 1400u);
}

KernelPlan FloatPlan(KernelKind kind, InputLayout layout, Matrix matrix, PreScale pre,
                     OutputStage output, PixelOrder order = PixelOrder::Rgb) {
    KernelPlan plan = Plan(kind, layout, matrix, order, output);
    plan.preScale = pre;
    return plan;
}

constexpr auto F = KernelKind::FloatChain;
INSTANTIATE_TEST_SUITE_P(
    Plans, FloatStageTest,
    testing::Values(
        FloatCase{"Yuy2Bt709Range709", FloatPlan(F, InputLayout::Yuy2, Matrix::Bt709,
                                                 PreScale::None, OutputStage::Range709)},
        FloatCase{"Yuy2Bt2020Range2020",
                  FloatPlan(F, InputLayout::Yuy2, Matrix::Bt2020, PreScale::None,
                            OutputStage::Range2020, PixelOrder::Bgr0)},
        FloatCase{"Yuy2Bt2020Scale219", FloatPlan(F, InputLayout::Yuy2, Matrix::Bt2020,
                                                  PreScale::Scale219, OutputStage::None)},
        FloatCase{"Yuv16Bt709By256", FloatPlan(F, InputLayout::Yuv16, Matrix::Bt709, PreScale::None,
                                               OutputStage::By256)},
        FloatCase{"Yuv16Bt2020Range2020", FloatPlan(F, InputLayout::Yuv16, Matrix::Bt2020,
                                                    PreScale::None, OutputStage::Range2020)},
        FloatCase{"Yuv16Bt709Scale238", FloatPlan(F, InputLayout::Yuv16, Matrix::Bt709,
                                                  PreScale::Scale238, OutputStage::None)},
        FloatCase{"Bgr4Scale238Range709", FloatPlan(F, InputLayout::Bgr4, Matrix::None,
                                                    PreScale::Scale238, OutputStage::Range709)},
        FloatCase{"Bgr16Scale219Range709", FloatPlan(F, InputLayout::Bgr16, Matrix::None,
                                                     PreScale::Scale219, OutputStage::Range709)},
        FloatCase{"Combined709", FloatPlan(KernelKind::Combined16, InputLayout::Yuv16,
                                           Matrix::Bt709, PreScale::None, OutputStage::None)},
        FloatCase{"Combined2020", FloatPlan(KernelKind::Combined16, InputLayout::Yuv16,
                                            Matrix::Bt2020, PreScale::None, OutputStage::None)}),
    [](const testing::TestParamInfo<FloatCase>& info) { return info.param.name; });

// ---- Look-ups at their edges -------------------------------------------------------------------

TEST(LookupTest, AxisPositionRoundsTiesToEvenAndStopsBeforeTheLastNode) {
    // An integer position sits on a node from one side or the other: 1.0 → (0, 1), 2.0 → (2, 0).
    auto axis = [](float v, float s) {
        const auto a = stages::LutAxis(v, s);
        return std::pair(a.index, a.fraction);
    };
    EXPECT_EQ(axis(1.0f, 1.0f), std::pair(0u, 1.0f));
    EXPECT_EQ(axis(2.0f, 1.0f), std::pair(2u, 0.0f));
    EXPECT_EQ(axis(0.0f, 1.0f), std::pair(0u, 0.0f));
    EXPECT_EQ(axis(255.0f, stages::Depth8::kLutScale).first, 31u);
    EXPECT_NEAR(axis(255.0f, stages::Depth8::kLutScale).second, 0.9999f, 1e-6f);
    // No value of either depth reaches past node 32.
    for (unsigned v = 0; v <= 65535; ++v) {
        const auto a = stages::LutAxis(static_cast<float>(v), stages::Depth16::kLutScale);
        ASSERT_LE(a.index, 31u) << v;
        ASSERT_LE(a.fraction, 1.0f) << v;
        if (v <= 255) {
            ASSERT_LE(stages::LutAxis(v, stages::Depth8::kLutScale).index, 31u) << v;
        }
    }
}

TEST(LookupTest, IdentityLutGivesEveryByteBack) {
    // Node (r, g, b) holds (r, g, b) / 32.
    std::vector<float> lut(kLutFloats);
    for (unsigned n = 0; n < kLutFloats; ++n) {
        const unsigned node = n / 3, c = n % 3;
        lut[n] = (c == 0 ? node % 33 : c == 1 ? node / 33 % 33 : node / 1089) / 32.0f;
    }
    // BGR4 in, B, G, R, 0 out: 256 pixels, each channel another byte value.
    std::vector<uint8_t> in;
    for (unsigned v = 0; v < 256; ++v) {
        in.insert(in.end(), {uint8_t(v), uint8_t(255 - v), uint8_t(v * 7), 0x55});
    }
    const auto out = Convert(Plan(KernelKind::FloatChain, InputLayout::Bgr4, Matrix::None,
                                  PixelOrder::Bgr0, OutputStage::None, Lookup::Lut3D),
                             in, 63, 1, 0, {lut.data(), nullptr, nullptr});
    for (unsigned k = 0; k < 256 * 4; ++k) ASSERT_EQ(out[k], k % 4 == 3 ? 0 : in[k]) << k;
}

TEST(LookupTest, CurveAt255ReadsItsLastEntry) {
    // Entries 254 and 255 are exact in binary, so f = 1 gives entry 255 exactly; a read past the
    // curve would meet the NaNs behind it.
    std::vector<float> curve((256 + 4) * 3, std::numeric_limits<float>::quiet_NaN());
    for (unsigned i = 0; i < 256 * 3; ++i) curve[i] = (i / 3) / 512.0f;
    for (unsigned c = 0; c < 3; ++c) curve[255 * 3 + c] = 0.75f + c / 8.0f;
    std::vector<uint8_t> in(16, 255);
    const auto out = Convert(Plan(KernelKind::FloatChain, InputLayout::Bgr4, Matrix::None,
                                  PixelOrder::Rgb, OutputStage::None, Lookup::Curve1D),
                             in, 0, 1, 0, {nullptr, curve.data(), nullptr});
    // 0.75 × 255 = 191.25, 0.875 × 255 = 223.125, 1.0 × 255 = 255.
    EXPECT_EQ(out[0], 191);
    EXPECT_EQ(out[1], 223);
    EXPECT_EQ(out[2], 255);
    // Without its curve the kernel writes nothing.
    const auto none = Convert(Plan(KernelKind::FloatChain, InputLayout::Bgr4, Matrix::None,
                                   PixelOrder::Rgb, OutputStage::None, Lookup::Curve1D),
                              in, 0, 1);
    EXPECT_EQ(none, std::vector<uint8_t>(none.size(), kUntouched));
}

// ---- Chroma at group and row ends, padding, rows 0 ----------------------------------------------

struct ChromaCase {
    const char* name;
    KernelPlan plan;
    bool wide;  // 16-bit words
};

class ChromaTest : public testing::TestWithParam<ChromaCase> {
protected:
    // Elements → bytes of the layout; 8-bit values are scaled to 16 bits with their high byte.
    std::vector<uint8_t> Bytes(const std::vector<uint8_t>& elements) const {
        if (!GetParam().wide) return elements;
        std::vector<uint8_t> bytes;
        for (uint8_t e : elements) bytes.insert(bytes.end(), {uint8_t(0), e});
        return bytes;
    }
};

TEST_P(ChromaTest, LastGroupKeepsItsOwnChromaPaddingAndRowsZeroAreNotWritten) {
    const KernelPlan plan = GetParam().plan;
    const unsigned bytes = OutputPixelBytes(plan.order);
    // Row 0: chroma 100/60 in group 0, 200/220 in group 1; row 1 is poison that row 0 must not
    // reach. Group 0's pixel 3 averages to 150/140; group 1's pixel 3 keeps 200/220.
    std::vector<uint8_t> rows = {90, 100, 90, 60,  90, 100, 90, 60,
                                 90, 200, 90, 220, 90, 200, 90, 220};
    std::vector<uint8_t> poison;
    for (unsigned k = 0; k < 8; ++k) poison.insert(poison.end(), {0, 255});
    rows.insert(rows.end(), poison.begin(), poison.end());
    constexpr uint32_t kPadding = 3;
    const auto out = Convert(plan, Bytes(rows), 1, 2, kPadding);
    const auto averaged = Convert(plan, Bytes(FlatGroup(90, 150, 140)), 0, 1);
    const auto own = Convert(plan, Bytes(FlatGroup(90, 200, 220)), 0, 1);
    const auto alone = Convert(plan, Bytes(poison), 1, 1);
    auto pixels = [&](const std::vector<uint8_t>& v, size_t first, size_t count) {
        return std::vector<uint8_t>(v.begin() + first * bytes, v.begin() + (first + count) * bytes);
    };
    EXPECT_EQ(pixels(out, 3, 1), pixels(averaged, 0, 1));
    EXPECT_EQ(pixels(out, 7, 1), pixels(own, 0, 1));
    // The padding of both rows is untouched; row 1 starts after it.
    const size_t stride = (8 + kPadding) * bytes;
    for (size_t at = 8 * bytes; at < stride; ++at) {
        EXPECT_EQ(out[at], kUntouched) << at;
        EXPECT_EQ(out[stride + at], kUntouched) << at;
    }
    EXPECT_EQ(pixels(out, 8 + kPadding, 8), pixels(alone, 0, 8));
    EXPECT_EQ(out[2 * stride], kUntouched);
    // Rows 0: nothing at all.
    const auto none = Convert(plan, Bytes(rows), 1, 0);
    EXPECT_EQ(none, std::vector<uint8_t>(none.size(), kUntouched));
}

INSTANTIATE_TEST_SUITE_P(
    Kernels, ChromaTest,
    testing::Values(ChromaCase{"IntegerPlain",
                               Plan(KernelKind::IntegerPlain, InputLayout::Yuy2, Matrix::Bt709,
                                    PixelOrder::Rgb),
                               false},
                    ChromaCase{"IntegerExpanded",
                               Plan(KernelKind::IntegerExpanded, InputLayout::Yuy2, Matrix::Bt2020,
                                    PixelOrder::Bgr0),
                               false},
                    ChromaCase{"FloatChain8",
                               Plan(KernelKind::FloatChain, InputLayout::Yuy2, Matrix::Bt709,
                                    PixelOrder::Rgb0, OutputStage::Range709),
                               false},
                    ChromaCase{"FloatChain16",
                               Plan(KernelKind::FloatChain, InputLayout::Yuv16, Matrix::Bt2020,
                                    PixelOrder::Bgr0, OutputStage::By256),
                               true},
                    ChromaCase{"Combined16",
                               Plan(KernelKind::Combined16, InputLayout::Yuv16, Matrix::Bt709,
                                    PixelOrder::Rgb),
                               true}),
    [](const testing::TestParamInfo<ChromaCase>& info) { return info.param.name; });

// ---- File tables -----------------------------------------------------------------------------

TEST(FileTableTest, EntriesGoOutAsTheyStandAndANullTableWritesNothing) {
    // Each entry holds its own Y, Cb, Cr, so the output shows which entry was read.
    std::vector<uint8_t> table(kTableBytes);
    for (uint32_t n = 0; n < 256 * 256 * 256; ++n) {
        table[n * 3 + 0] = uint8_t(n >> 16), table[n * 3 + 1] = uint8_t(n >> 8);
        table[n * 3 + 2] = uint8_t(n);
    }
    KernelPlan plan =
        Plan(KernelKind::FileTable, InputLayout::Yuy2, Matrix::None, PixelOrder::Rgb0);
    plan.table = TableId::ConvData01;
    // Chroma 11/21 then 41/51 (next group 71/81): integer averages 26/36 and 56/66.
    const std::vector<uint8_t> row = {1, 11, 2, 21, 3, 41, 4, 51, 5, 71, 6, 81, 7, 72, 8, 82};
    const auto out = Convert(plan, row, 1, 1, 1, {nullptr, nullptr, table.data()});
    const std::vector<uint8_t> expected = {
        1, 11, 21, 0, 2, 26, 36, 0, 3,          41,         51,         0,
        4, 56, 66, 0, 5, 71, 81, 0, 6,          71,         81,         0,
        7, 72, 82, 0, 8, 72, 82, 0, kUntouched, kUntouched, kUntouched, kUntouched};
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 36), expected);

    const auto none = Convert(plan, row, 1, 1);
    EXPECT_EQ(none, std::vector<uint8_t>(none.size(), kUntouched));

    // The run-time table, when loaded, takes the `x` tables' place.
    KernelPlan runtime =
        Plan(KernelKind::IntegerExpanded, InputLayout::Yuy2, Matrix::Bt709, PixelOrder::Bgr0);
    runtime.table = TableId::Runtime;
    const auto fromTable = Convert(runtime, row, 1, 1, 0, {nullptr, nullptr, table.data()});
    EXPECT_EQ(std::vector<uint8_t>(fromTable.begin(), fromTable.begin() + 32),
              std::vector<uint8_t>(expected.begin(), expected.begin() + 32));
}

// ---- Packing, zero-fill, reorder -------------------------------------------------------------

TEST(PackTest, RoundsTiesToEvenWithinTheByte) {
    stages::Planes p{};
    const float values[] = {0.5f, 1.5f, 2.5f, 254.5f, 253.5f, 255.7f, -3.0f, 127.49f};
    const uint8_t expected[] = {0, 2, 2, 254, 254, 255, 0, 127};
    for (unsigned k = 0; k < 8; ++k) p.r[k] = p.g[k] = p.b[k] = values[k];
    uint8_t out[8 * 3];
    stages::PackStage<false, 3>(p, 8, out);
    for (unsigned k = 0; k < 8; ++k) EXPECT_EQ(out[k * 3], expected[k]) << values[k];
}

TEST(ZeroFillTest, SixteenBytesAGroupBackToBack) {
    // 3 rows of 3 groups; the padding argument does not spread the rows.
    const auto out = Convert(KernelPlan{}, {}, 2, 3, 5);
    for (size_t at = 0; at < out.size(); ++at) {
        ASSERT_EQ(out[at], at < 3 * 3 * 16 ? 0 : kUntouched) << at;
    }
}

TEST(ReorderTest, SixteenBitWordsGiveTheirHighByte) {
    // B, G, R, unused words of 4 pixels: 0x1234, 0x56FF, 0x9A00, 0xFFFF.
    std::vector<uint8_t> in;
    for (unsigned k = 0; k < 4; ++k)
        in.insert(in.end(), {0x34, 0x12, 0xFF, 0x56, 0x00, 0x9A, 0xFF, 0xFF});
    const auto out = Convert(
        Plan(KernelKind::Reorder, InputLayout::Bgr16, Matrix::None, PixelOrder::Rgb), in, 0, 1);
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 4),
              (std::vector<uint8_t>{0x9A, 0x56, 0x12, 0x9A}));
}

// ---- Row kernels over the model's data, and the synthesized table ----------------------------

// A YUY2 row of 64 groups: luma and chroma sweeps.
std::vector<uint8_t> SweepRow() {
    std::vector<uint8_t> row;
    for (unsigned k = 0; k < 256; ++k) row.insert(row.end(), {uint8_t(k), uint8_t(k * 5 + 16)});
    return row;
}

// The kernel's output, and the seam's with the data given, in buffers of the same size.
std::vector<uint8_t> RunKernel(const RowKernel& kernel, const std::vector<uint8_t>& row) {
    std::vector<uint8_t> out(256 * 4 + 64, kUntouched);
    kernel(row.data(), out.data(), 63, 1, 0);
    return out;
}

TEST(RowKernelTest, DataIsGatheredAtEachCall) {
    KernelPlan plan = Plan(KernelKind::FloatChain, InputLayout::Yuy2, Matrix::Bt709,
                           PixelOrder::Bgr0, OutputStage::Range709, Lookup::Lut3D);
    plan.lutNumber = 14;
    const std::vector<uint8_t> row = SweepRow();
    EXPECT_EQ(RunKernel(MakeRowKernel(plan), row),
              Convert(plan, row, 63, 1, 0, {Lut3D(14), nullptr, nullptr}));

    // The curve follows the display's peak luminance as it stands at the call.
    plan.lookup = Lookup::Curve1D;
    plan.matrix = Matrix::Bt2020;
    plan.output = OutputStage::Range2020;
    const RowKernel curve = MakeRowKernel(plan);
    std::atomic<uint32_t>& nits = Shared().displayPeakLuminance;
    const uint32_t before = nits.load();
    nits = 300;
    const auto dim = RunKernel(curve, row);
    nits = 2000;
    const auto bright = RunKernel(curve, row);
    nits = before;
    EXPECT_EQ(dim, Convert(plan, row, 63, 1, 0, {nullptr, Curve8(0), nullptr}));
    EXPECT_EQ(bright, Convert(plan, row, 63, 1, 0, {nullptr, Curve8(7), nullptr}));
    EXPECT_NE(dim, bright);

    // A file-table key whose table is not loaded, and rows 0 of any kernel: nothing written.
    ASSERT_EQ(TableBuffer(TableId::ConvData01), nullptr);
    EXPECT_EQ(RunKernel(FindKernel(0x60021), row), std::vector<uint8_t>(256 * 4 + 64, kUntouched));
    std::vector<uint8_t> out(64, kUntouched);
    MakeRowKernel(KernelPlan{})(row.data(), out.data(), 0, 0, 0);
    EXPECT_EQ(out, std::vector<uint8_t>(64, kUntouched));
}

TEST(ChainTableTest, EachEntryIsTheChainOfThatPixel) {
    // A LUT of random values: any slip in indexing shows.
    std::vector<float> lut(kLutFloats);
    uint32_t seed = 7;
    for (float& v : lut) v = ((seed = seed * 1664525 + 1013904223) >> 8) / 16777216.0f;
    const KernelInputs inputs{lut.data(), nullptr, nullptr};
    KernelPlan plan = Plan(KernelKind::FloatChain, InputLayout::Yuy2, Matrix::Bt709,
                           PixelOrder::Bgr0, OutputStage::Range709, Lookup::Lut3D);
    std::vector<uint8_t> table(kTableBytes, kUntouched);
    FillChainTable(plan, inputs, table.data());
    for (unsigned sample = 0; sample < 4096; ++sample) {
        seed = seed * 1664525 + 1013904223;
        const uint8_t y = sample == 0 ? 0 : sample == 1 ? 255 : uint8_t(seed >> 8);
        const uint8_t cb = sample < 2 ? y : uint8_t(seed >> 16),
                      cr = sample < 2 ? y : uint8_t(seed >> 24);
        const auto pixel = Convert(plan, FlatGroup(y, cb, cr), 0, 1, 0, inputs);
        const uint8_t* entry = &table[TableOffset(y, cb, cr)];
        ASSERT_EQ(std::vector<uint8_t>(entry, entry + 3),
                  std::vector<uint8_t>(pixel.begin(), pixel.begin() + 3))
            << int(y) << " " << int(cb) << " " << int(cr);
    }
}

}  // namespace

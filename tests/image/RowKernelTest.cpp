// The scalar row kernels: pixels against the integer-table rules and against the float stages in
// double precision, the look-ups at their edges, chroma at group and row ends, packing's rounding,
// and what a kernel must not write (padding, rows 0, a missing table). Most cases run through the
// seam that takes the look-up data as an argument, so that known LUTs and tables stand in for the
// colour model; the last ones run the row kernels over the model's data.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "image/ChainTable.h"
#include "image/KernelData.h"
#include "image/RowKernel.h"
#include "image/ScalarKernels.h"
#include "image/SharedTables.h"

namespace image {
void PrintTo(const KernelPlan& plan, std::ostream* os) {
    *os << Describe(plan);
}
}  // namespace image

namespace {

using namespace image;
using K = KernelKind;
using L = InputLayout;
using M = Matrix;
using O = OutputStage;
using P = PixelOrder;

constexpr uint8_t kUntouched = 0xAA;

std::string NameOf(const testing::TestParamInfo<KernelPlan>& info) {
    std::string name = Describe(info.param);
    for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name + "_" + std::to_string(info.index);
}

bool Wide(L layout) {
    return layout == L::Yuv16 || layout == L::Bgr16;
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

// 4:2:2 elements (Y0 Cb Y1 Cr …) as the layout's bytes: 16-bit words little-endian.
std::vector<uint8_t> Bytes(const std::vector<uint16_t>& elements, bool wide) {
    std::vector<uint8_t> bytes;
    for (uint16_t e : elements) {
        if (wide) bytes.push_back(uint8_t(e));
        bytes.push_back(uint8_t(wide ? e >> 8 : e));
    }
    return bytes;
}

// A 4:2:2 group whose four pixels share Y and chroma.
std::vector<uint16_t> FlatGroup(uint16_t y, uint16_t cb, uint16_t cr) {
    return {y, cb, y, cr, y, cb, y, cr};
}

// ---- Integer tables, from their rules --------------------------------------------------------

struct IntegerCase {
    KernelKind kind;
    Matrix matrix;
    uint8_t y, cb, cr;
};

class IntegerTableTest : public testing::TestWithParam<IntegerCase> {};

TEST_P(IntegerTableTest, PixelFollowsTheTableRules) {
    const IntegerCase c = GetParam();
    const bool bt2020 = c.matrix == M::Bt2020;
    const double kr = bt2020 ? 1.4746 : 1.5748, kb = bt2020 ? 1.8814 : 1.8556;
    const double kgb = bt2020 ? 0.1646 : 0.1873, kgr = bt2020 ? 0.5714 : 0.4681;
    const double u = c.cb - 128.0, v = c.cr - 128.0;
    double r, g, b;
    if (c.kind == K::IntegerPlain) {  // factors × 10000 in integers, + 5000, cut towards zero
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
    for (double x : {r, g, b}) {
        x = std::clamp(x, 0.0, 255.0);
        if (c.kind == K::IntegerBoosted) x = std::min(std::trunc(x * 1.086758), 255.0);
        expected.push_back(static_cast<uint8_t>(x));
    }
    expected.push_back(0);
    const auto out =
        Convert(KernelPlan{.kind = c.kind, .layout = L::Yuy2, .matrix = c.matrix, .order = P::Rgb0},
                Bytes(FlatGroup(c.y, c.cb, c.cr), false), 0, 1);
    for (unsigned pixel = 0; pixel < 4; ++pixel) {
        EXPECT_EQ(std::vector<uint8_t>(&out[pixel * 4], &out[pixel * 4 + 4]), expected) << pixel;
    }
}

INSTANTIATE_TEST_SUITE_P(Sets, IntegerTableTest,
                         testing::Values(IntegerCase{K::IntegerPlain, M::Bt709, 128, 128, 128},
                                         IntegerCase{K::IntegerPlain, M::Bt709, 81, 90, 240},
                                         IntegerCase{K::IntegerPlain, M::Bt2020, 145, 54, 34},
                                         IntegerCase{K::IntegerExpanded, M::Bt709, 235, 128, 128},
                                         IntegerCase{K::IntegerExpanded, M::Bt709, 10, 200, 60},
                                         IntegerCase{K::IntegerExpanded, M::Bt2020, 100, 140, 110},
                                         IntegerCase{K::IntegerBoosted, M::Bt709, 200, 150, 100}));

// ---- Float stages, from the formulas in double precision -----------------------------------

// What a plan without a look-up gives for one pixel (y, cb, cr; for BGR layouts b, g, r).
std::array<double, 3> Expected(const KernelPlan& plan, double y, double cb, double cr) {
    const bool wide = Wide(plan.layout), bt2020 = plan.matrix == M::Bt2020;
    const double top = wide ? 65535 : 255, zero = wide ? 32768 : 128;
    auto limit = [](double v, double t) { return std::clamp(v, 0.0, t); };
    if (plan.kind == K::Combined16) {
        const double ky = bt2020 ? 1.0711 : 1.0711297;
        const double r =
            bt2020 ? 1.6853 * cr + ky * y - 59609.855 : 1.7997714 * cr + ky * y - 63362.258;
        const double g = bt2020 ? -0.1881 * cb - 0.653 * cr + ky * y + 23171.738
                                : -0.21405715 * cb - 0.5349714 * cr + ky * y + 20156.82;
        const double b =
            bt2020 ? 2.1502 * cb + ky * y - 74844.16 : 2.1206858 * cb + ky * y - 73877.98;
        return {limit(r / 256, 255), limit(g / 256, 255), limit(b / 256, 255)};
    }
    double r = cr, g = cb, b = y;
    if (plan.matrix != M::None) {
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
        case O::Range709:
            return {limit((1.1276 * r - o - (0.0051 * b + 0.0514 * g)) * k, 255),
                    limit((-0.0052 * b + 1.0916 * g - (0.0152 * r + o)) * k, 255),
                    limit((1.1377 * b - 0.0512 * g - (0.0153 * r + o)) * k, 255)};
        case O::Range2020:
            return {limit((1.124 * r - o - (0.0043 * b + 0.0486 * g)) * k, 255),
                    limit((1.0942 * g - 0.0043 * b - (0.0188 * r + o)) * k, 255),
                    limit((1.1386 * b - 0.0486 * g - (0.0188 * r + o)) * k, 255)};
        case O::By256:
            return {limit(r / 256, 255), limit(g / 256, 255), limit(b / 256, 255)};
        case O::None:
            break;
    }
    const double n = wide ? 255 / 65535.0 : 1;
    return {limit(r * n, 255), limit(g * n, 255), limit(b * n, 255)};
}

class FloatStageTest : public testing::TestWithParam<KernelPlan> {};

// Random pixels; a channel whose exact value lies within 0.02 of a rounding boundary is left out,
// the others must round to the same byte, so that a wrong constant or order shows in some.
TEST_P(FloatStageTest, PixelsRoundAsTheExactValue) {
    const KernelPlan plan = GetParam();
    const bool wide = Wide(plan.layout), yuv = plan.matrix != M::None;
    uint32_t seed = 99;
    unsigned checked = 0;
    for (unsigned sample = 0; sample < 500; ++sample) {
        uint16_t e[3];
        for (uint16_t& v : e) {
            seed = seed * 1664525 + 1013904223;
            v = wide ? uint16_t(seed >> 16) : uint8_t(seed >> 24);
        }
        const std::vector<uint16_t> bgr = {e[0], e[1], e[2], 0, e[0], e[1], e[2], 0};
        std::vector<uint8_t> in = Bytes(yuv ? FlatGroup(e[0], e[1], e[2]) : bgr, wide);
        if (!yuv) in.insert(in.end(), in.begin(), in.end());
        const auto out = Convert(plan, in, 0, 1);
        const auto exact = Expected(plan, e[0], e[1], e[2]);
        for (unsigned c = 0; c < 3; ++c) {
            if (std::abs(exact[c] - std::floor(exact[c]) - 0.5) < 0.02) continue;
            ++checked;
            ASSERT_EQ(int{out[plan.order == P::Bgr0 ? 2 - c : c]}, std::lround(exact[c]))
                << "channel " << c << " of " << e[0] << " " << e[1] << " " << e[2];
        }
    }
    EXPECT_GT(checked, 1400u);
}

constexpr auto F = K::FloatChain;
INSTANTIATE_TEST_SUITE_P(
    Plans, FloatStageTest,
    testing::Values(
        KernelPlan{.kind = F, .layout = L::Yuy2, .matrix = M::Bt709, .output = O::Range709},
        KernelPlan{.kind = F, .layout = L::Yuy2, .matrix = M::Bt2020, .output = O::Range2020},
        KernelPlan{.kind = F,
                   .layout = L::Yuy2,
                   .matrix = M::Bt2020,
                   .preScale = PreScale::Scale219,
                   .order = P::Rgb},
        KernelPlan{.kind = F, .layout = L::Yuv16, .matrix = M::Bt709, .output = O::By256},
        KernelPlan{.kind = F, .layout = L::Yuv16, .matrix = M::Bt2020, .output = O::Range2020},
        KernelPlan{
            .kind = F, .layout = L::Yuv16, .matrix = M::Bt709, .preScale = PreScale::Scale238},
        KernelPlan{.kind = F,
                   .layout = L::Bgr4,
                   .preScale = PreScale::Scale238,
                   .output = O::Range709,
                   .order = P::Rgb},
        KernelPlan{
            .kind = F, .layout = L::Bgr16, .preScale = PreScale::Scale219, .output = O::Range709},
        KernelPlan{.kind = K::Combined16, .layout = L::Yuv16, .matrix = M::Bt709},
        KernelPlan{
            .kind = K::Combined16, .layout = L::Yuv16, .matrix = M::Bt2020, .order = P::Rgb}),
    NameOf);

// ---- Look-ups at their edges ------------------------------------------------------------------

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
    for (unsigned v = 0; v <= 65535; ++v) {  // no value of either depth goes past node 32
        ASSERT_LE(axis(v, stages::Depth16::kLutScale).first, 31u) << v;
        ASSERT_LE(axis(v % 256, stages::Depth8::kLutScale).first, 31u) << v;
    }
}

TEST(LookupTest, IdentityLutGivesEveryByteBack) {
    std::vector<float> lut(kLutFloats);  // node (r, g, b) holds (r, g, b) / 32
    for (unsigned n = 0; n < kLutFloats; ++n) {
        const unsigned node = n / 3, c = n % 3;
        lut[n] = (c == 0 ? node % 33 : c == 1 ? node / 33 % 33 : node / 1089) / 32.0f;
    }
    std::vector<uint8_t> in;
    for (unsigned v = 0; v < 256; ++v) {
        in.insert(in.end(), {uint8_t(v), uint8_t(255 - v), uint8_t(v * 7), 0x55});
    }
    const auto out =
        Convert(KernelPlan{.kind = F, .layout = L::Bgr4, .lookup = Lookup::Lut3D, .order = P::Bgr0},
                in, 63, 1, 0, {lut.data(), nullptr, nullptr});
    for (unsigned k = 0; k < 256 * 4; ++k) ASSERT_EQ(out[k], k % 4 == 3 ? 0 : in[k]) << k;
}

TEST(LookupTest, CurveAt255ReadsItsLastEntry) {
    // Entries 254 and 255 are exact in binary, so f = 1 gives entry 255 exactly; a read past the
    // curve would meet the NaNs behind it.
    std::vector<float> curve((256 + 4) * 3, std::numeric_limits<float>::quiet_NaN());
    for (unsigned i = 0; i < 256 * 3; ++i) curve[i] = (i / 3) / 512.0f;
    for (unsigned c = 0; c < 3; ++c) curve[255 * 3 + c] = 0.75f + c / 8.0f;
    const std::vector<uint8_t> in(16, 255);
    const KernelPlan plan{.kind = F, .layout = L::Bgr4, .lookup = Lookup::Curve1D, .order = P::Rgb};
    const auto out = Convert(plan, in, 0, 1, 0, {nullptr, curve.data(), nullptr});
    // 0.75 × 255 = 191.25, 0.875 × 255 = 223.125, 1.0 × 255 = 255.
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 3),
              (std::vector<uint8_t>{191, 223, 255}));
    const auto none = Convert(plan, in, 0, 1);  // without its curve: nothing
    EXPECT_EQ(none, std::vector<uint8_t>(none.size(), kUntouched));
}

// ---- Chroma at group and row ends, padding, rows 0 -------------------------------------------

class ChromaTest : public testing::TestWithParam<KernelPlan> {};

TEST_P(ChromaTest, LastGroupKeepsItsOwnChromaPaddingAndRowsZeroAreNotWritten) {
    const KernelPlan plan = GetParam();
    const bool wide = Wide(plan.layout);
    const uint16_t s = wide ? 256 : 1;  // 8-bit values as the high byte of 16-bit ones
    const unsigned bytes = OutputPixelBytes(plan.order);
    // Row 0: chroma 100/60 in group 0, 200/220 in group 1, so group 0's pixel 3 averages to
    // 150/140 and group 1's keeps 200/220; row 1 is poison that row 0 must not reach.
    std::vector<uint16_t> rows = FlatGroup(90 * s, 100 * s, 60 * s);
    for (uint16_t e : FlatGroup(90 * s, 200 * s, 220 * s)) rows.push_back(e);
    const std::vector<uint16_t> poison(16, uint16_t(255 * s));
    rows.insert(rows.end(), poison.begin(), poison.end());
    constexpr uint32_t kPadding = 3;
    const auto out = Convert(plan, Bytes(rows, wide), 1, 2, kPadding);
    const auto averaged = Convert(plan, Bytes(FlatGroup(90 * s, 150 * s, 140 * s), wide), 0, 1);
    const auto own = Convert(plan, Bytes(FlatGroup(90 * s, 200 * s, 220 * s), wide), 0, 1);
    const auto alone = Convert(plan, Bytes(poison, wide), 1, 1);
    auto pixels = [&](const std::vector<uint8_t>& v, size_t first, size_t count) {
        return std::vector<uint8_t>(v.begin() + first * bytes, v.begin() + (first + count) * bytes);
    };
    EXPECT_EQ(pixels(out, 3, 1), pixels(averaged, 0, 1));
    EXPECT_EQ(pixels(out, 7, 1), pixels(own, 0, 1));
    // Both rows' padding untouched, row 1 after it, nothing after row 1.
    EXPECT_EQ(pixels(out, 8, kPadding), std::vector<uint8_t>(kPadding * bytes, kUntouched));
    EXPECT_EQ(pixels(out, 8 + kPadding, 8), pixels(alone, 0, 8));
    EXPECT_EQ(pixels(out, 16 + kPadding, kPadding + 1),
              std::vector<uint8_t>((kPadding + 1) * bytes, kUntouched));
    const auto none = Convert(plan, Bytes(rows, wide), 1, 0);
    EXPECT_EQ(none, std::vector<uint8_t>(none.size(), kUntouched));
}

INSTANTIATE_TEST_SUITE_P(
    Kernels, ChromaTest,
    testing::Values(
        KernelPlan{.kind = K::IntegerPlain, .layout = L::Yuy2, .matrix = M::Bt709, .order = P::Rgb},
        KernelPlan{.kind = K::IntegerExpanded, .layout = L::Yuy2, .matrix = M::Bt2020},
        KernelPlan{.kind = F,
                   .layout = L::Yuy2,
                   .matrix = M::Bt709,
                   .output = O::Range709,
                   .order = P::Rgb0},
        KernelPlan{.kind = F, .layout = L::Yuv16, .matrix = M::Bt2020, .output = O::By256},
        KernelPlan{.kind = K::Combined16, .layout = L::Yuv16, .matrix = M::Bt709, .order = P::Rgb}),
    NameOf);

// ---- File tables, packing, zero-fill -------------------------------------------------------

TEST(FileTableTest, EntriesGoOutAsTheyStandAndANullTableWritesNothing) {
    // Each entry holds its own Y, Cb, Cr, so the output shows which entry was read.
    std::vector<uint8_t> table(kTableBytes);
    for (uint32_t n = 0; n < 256 * 256 * 256; ++n) {
        table[n * 3 + 0] = uint8_t(n >> 16), table[n * 3 + 1] = uint8_t(n >> 8);
        table[n * 3 + 2] = uint8_t(n);
    }
    const KernelPlan plan{
        .kind = K::FileTable, .layout = L::Yuy2, .order = P::Rgb0, .table = TableId::ConvData01};
    // Chroma 11/21 then 41/51 (next group 71/81): integer averages 26/36 and 56/66.
    const std::vector<uint8_t> row = {1, 11, 2, 21, 3, 41, 4, 51, 5, 71, 6, 81, 7, 72, 8, 82};
    const auto out = Convert(plan, row, 1, 1, 1, {nullptr, nullptr, table.data()});
    const std::vector<uint8_t> expected = {1, 11, 21, 0, 2, 26, 36, 0, 3, 41, 51, 0, 4, 56, 66, 0,
                                           5, 71, 81, 0, 6, 71, 81, 0, 7, 72, 82, 0, 8, 72, 82, 0};
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 32), expected);
    EXPECT_EQ(out[32], kUntouched);
    const auto none = Convert(plan, row, 1, 1);
    EXPECT_EQ(none, std::vector<uint8_t>(none.size(), kUntouched));

    // The run-time table, when loaded, takes the `x` tables' place.
    const KernelPlan runtime{.kind = K::IntegerExpanded,
                             .layout = L::Yuy2,
                             .matrix = M::Bt709,
                             .table = TableId::Runtime};
    const auto fromTable = Convert(runtime, row, 1, 1, 0, {nullptr, nullptr, table.data()});
    EXPECT_EQ(std::vector<uint8_t>(fromTable.begin(), fromTable.begin() + 32), expected);
}

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
    const auto out = Convert(KernelPlan{}, {}, 2, 3, 5);  // padding does not spread the rows
    for (size_t at = 0; at < out.size(); ++at) {
        ASSERT_EQ(out[at], at < 3 * 3 * 16 ? 0 : kUntouched) << at;
    }
}

// ---- Row kernels over the model's data, and the synthesized table -----------------------------

TEST(RowKernelTest, DataIsGatheredAtEachCall) {
    std::vector<uint16_t> sweep;  // 64 groups of luma and chroma sweeps
    for (uint16_t k = 0; k < 256; ++k) sweep.insert(sweep.end(), {k, uint16_t((k * 5 + 16) & 255)});
    const std::vector<uint8_t> row = Bytes(sweep, false);
    auto run = [&](const RowKernel& kernel) {
        std::vector<uint8_t> out(256 * 4 + 64, kUntouched);
        kernel(row.data(), out.data(), 63, 1, 0);
        return out;
    };
    KernelPlan plan{.kind = F,
                    .layout = L::Yuy2,
                    .matrix = M::Bt709,
                    .lookup = Lookup::Lut3D,
                    .lutNumber = 14,
                    .output = O::Range709};
    EXPECT_EQ(run(MakeRowKernel(plan)),
              Convert(plan, row, 63, 1, 0, {Lut3D(14), nullptr, nullptr}));

    // The curve follows the display's peak luminance as it stands at the call.
    plan = {.kind = F,
            .layout = L::Yuy2,
            .matrix = M::Bt2020,
            .lookup = Lookup::Curve1D,
            .output = O::Range2020};
    std::atomic<uint32_t>& nits = Shared().displayPeakLuminance;
    const uint32_t before = nits.load();
    nits = 300;
    const auto dim = run(MakeRowKernel(plan));
    nits = 2000;
    const auto bright = run(MakeRowKernel(plan));
    nits = before;
    EXPECT_EQ(dim, Convert(plan, row, 63, 1, 0, {nullptr, Curve8(0), nullptr}));
    EXPECT_EQ(bright, Convert(plan, row, 63, 1, 0, {nullptr, Curve8(7), nullptr}));
    EXPECT_NE(dim, bright);

    // A file-table key whose table is not loaded, and rows 0: nothing written.
    ASSERT_EQ(TableBuffer(TableId::ConvData01), nullptr);
    EXPECT_EQ(run(FindKernel(0x60021)), std::vector<uint8_t>(256 * 4 + 64, kUntouched));
    std::vector<uint8_t> out(64, kUntouched);
    MakeRowKernel(KernelPlan{})(row.data(), out.data(), 0, 0, 0);
    EXPECT_EQ(out, std::vector<uint8_t>(64, kUntouched));
}

TEST(ChainTableTest, EachEntryIsTheChainOfThatPixel) {
    std::vector<float> lut(kLutFloats);  // random values: any slip in indexing shows
    uint32_t seed = 7;
    for (float& v : lut) v = ((seed = seed * 1664525 + 1013904223) >> 8) / 16777216.0f;
    const KernelInputs inputs{lut.data(), nullptr, nullptr};
    const KernelPlan plan{.kind = F,
                          .layout = L::Yuy2,
                          .matrix = M::Bt709,
                          .lookup = Lookup::Lut3D,
                          .output = O::Range709};
    std::vector<uint8_t> table(kTableBytes, kUntouched);
    FillChainTable(plan, inputs, table.data());
    for (unsigned sample = 0; sample < 4096; ++sample) {
        seed = seed * 1664525 + 1013904223;
        const uint8_t y = sample < 2 ? uint8_t(sample * 255) : uint8_t(seed >> 8);
        const uint8_t cb = sample < 2 ? y : uint8_t(seed >> 16);
        const uint8_t cr = sample < 2 ? y : uint8_t(seed >> 24);
        const auto pixel = Convert(plan, Bytes(FlatGroup(y, cb, cr), false), 0, 1, 0, inputs);
        const uint8_t* entry = &table[TableOffset(y, cb, cr)];
        ASSERT_EQ(std::vector<uint8_t>(entry, entry + 3),
                  std::vector<uint8_t>(pixel.begin(), pixel.begin() + 3))
            << int(y) << " " << int(cb) << " " << int(cr);
    }
}

}  // namespace

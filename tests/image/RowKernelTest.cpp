// The scalar row kernels: the routes of one conversion against each other and the matrices against
// their luma weights, the look-ups at their edges, chroma at group and row ends, packing's
// rounding, and what a kernel must not write (padding, rows 0, a missing table). Most cases run
// through the seam that takes the look-up data as an argument, so that known LUTs and tables stand
// in for the colour model; the last ones run the row kernels over the model's data.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cmath>
#include <limits>
#include <ostream>
#include <string>
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

// ---- Arithmetic: the forms of one conversion agree, grey stays grey ---------------------------

constexpr auto F = K::FloatChain;

// One group of four pixels of 8-bit Y, Cb, Cr, or B, G, R; the 16-bit layouts take them as their
// high bytes.
std::vector<uint8_t> Group(const KernelPlan& plan, uint8_t a, uint8_t b, uint8_t c) {
    const bool wide = Wide(plan.layout);
    const uint16_t s = wide ? 256 : 1;
    if (plan.layout == L::Yuy2 || plan.layout == L::Yuv16)
        return Bytes(FlatGroup(a * s, b * s, c * s), wide);
    std::vector<uint16_t> bgr;
    for (int pixel = 0; pixel < 4; ++pixel)
        bgr.insert(bgr.end(), {uint16_t(a * s), uint16_t(b * s), uint16_t(c * s), 0});
    return Bytes(bgr, wide);
}

std::array<int, 3> RgbOf(const KernelPlan& plan, uint8_t a, uint8_t b, uint8_t c) {
    const auto out = Convert(plan, Group(plan, a, b, c), 0, 1);
    if (plan.order == P::Bgr0) return {out[2], out[1], out[0]};
    return {out[0], out[1], out[2]};
}

// Two plans that compute one conversion by different routes: 8-bit and 16-bit stages, the integer
// tables and the float matrix, the expanding integer tables and the combined 16-bit matrix. Each is
// written with its own constants, so a wrong one shows as a difference; the 16-bit pre-scales are
// of a 65535 scale, whence up to 2 codes near the top of B, G, R.
struct Agreement {
    KernelPlan a, b;
    int tolerance;
};

std::vector<Agreement> Agreements() {
    using S = PreScale;
    std::vector<Agreement> pairs;
    for (const auto& [layout, matrix, scale, output] :
         {std::tuple{L::Yuy2, M::Bt709, S::None, O::Range709},
          {L::Yuy2, M::Bt2020, S::None, O::Range2020},
          {L::Yuy2, M::Bt709, S::Scale238, O::None},
          {L::Yuy2, M::Bt2020, S::Scale219, O::None},
          {L::Bgr4, M::None, S::None, O::Range709},
          {L::Bgr4, M::None, S::Scale219, O::Range2020}}) {
        KernelPlan plan{
            .kind = F, .layout = layout, .matrix = matrix, .preScale = scale, .output = output};
        KernelPlan wide = plan;
        wide.layout = layout == L::Yuy2 ? L::Yuv16 : L::Bgr16;
        pairs.push_back({plan, wide, layout == L::Bgr4 && scale != S::None ? 2 : 1});
    }
    for (const M matrix : {M::Bt709, M::Bt2020}) {
        const KernelPlan plain{.kind = F, .layout = L::Yuy2, .matrix = matrix};
        pairs.push_back({{.kind = K::IntegerPlain, .layout = L::Yuy2, .matrix = matrix}, plain, 1});
        pairs.push_back({{.kind = K::IntegerExpanded, .layout = L::Yuy2, .matrix = matrix},
                         {.kind = K::Combined16, .layout = L::Yuv16, .matrix = matrix},
                         1});
        pairs.push_back(
            {plain, {.kind = F, .layout = L::Yuv16, .matrix = matrix, .output = O::By256}, 1});
    }
    return pairs;
}

class AgreementTest : public testing::TestWithParam<Agreement> {};

TEST_P(AgreementTest, FormsOfOneConversionGiveTheSameBytesAndKeepGreyGrey) {
    const Agreement c = GetParam();
    uint32_t seed = 99;
    for (unsigned sample = 0; sample < 20000; ++sample) {
        seed = seed * 1664525 + 1013904223;
        const uint8_t x = uint8_t(seed >> 8), y = uint8_t(seed >> 16), z = uint8_t(seed >> 24);
        const auto a = RgbOf(c.a, x, y, z), b = RgbOf(c.b, x, y, z);
        for (int k = 0; k < 3; ++k)
            ASSERT_LE(std::abs(a[k] - b[k]), c.tolerance)
                << Describe(c.a) << " against " << Describe(c.b) << ", channel " << k << " of "
                << int(x) << " " << int(y) << " " << int(z);
    }
    for (const KernelPlan& plan : {c.a, c.b}) {
        const bool yuv = plan.matrix != M::None;
        for (int v = 0; v < 256; ++v) {
            const auto rgb = yuv ? RgbOf(plan, v, 128, 128) : RgbOf(plan, v, v, v);
            ASSERT_LE(std::max({rgb[0], rgb[1], rgb[2]}) - std::min({rgb[0], rgb[1], rgb[2]}), 1)
                << Describe(plan) << ", grey " << v;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Pairs, AgreementTest, testing::ValuesIn(Agreements()));

// The matrices against their luma weights (BT.709 0.2126 and 0.0722, BT.2020 0.2627 and 0.0593):
// an unclipped pixel keeps Y as Kr R + Kg G + Kb B, and R - Y and B - Y are 2 (1 - K) times Cr and
// Cb. The integer tables and the other routes follow by AgreementTest.
TEST(MatrixTest, KeepsLumaAndScalesTheColourDifferences) {
    for (const auto& [matrix, kr, kb] :
         {std::tuple{M::Bt709, 0.2126, 0.0722}, std::tuple{M::Bt2020, 0.2627, 0.0593}}) {
        const KernelPlan plan{.kind = F, .layout = L::Yuy2, .matrix = matrix};
        unsigned checked = 0;
        for (int y = 16; y <= 235; y += 3)
            for (int cb = 16; cb <= 240; cb += 4)
                for (int cr = 16; cr <= 240; cr += 4) {
                    const auto [r, g, b] = RgbOf(plan, y, cb, cr);
                    if (std::min({r, g, b}) == 0 || std::max({r, g, b}) == 255) continue;
                    ++checked;
                    SCOPED_TRACE(testing::Message() << y << " " << cb << " " << cr);
                    ASSERT_NEAR(kr * r + (1 - kr - kb) * g + kb * b, y, 0.6);
                    ASSERT_NEAR(r - y, 2 * (1 - kr) * (cr - 128), 0.51);
                    ASSERT_NEAR(b - y, 2 * (1 - kb) * (cb - 128), 0.51);
                }
        EXPECT_GT(checked, 10000u);
    }
}

// Video black goes to 0 through the expansions; the plain forms give Y back; the boost lifts
// what the expansion gives, and video white to the top.
TEST(MatrixTest, BlackWhiteAndTheBoost) {
    const KernelPlan expanded{.kind = K::IntegerExpanded, .layout = L::Yuy2, .matrix = M::Bt709};
    const KernelPlan boosted{.kind = K::IntegerBoosted, .layout = L::Yuy2, .matrix = M::Bt709};
    using Rgb = std::array<int, 3>;
    EXPECT_EQ(RgbOf(expanded, 16, 128, 128), (Rgb{0, 0, 0}));
    EXPECT_EQ(RgbOf(boosted, 235, 128, 128), (Rgb{255, 255, 255}));
    EXPECT_EQ(RgbOf({.kind = F, .layout = L::Yuv16, .matrix = M::Bt2020, .output = O::Range2020},
                    16, 128, 128),
              (Rgb{0, 0, 0}));
    EXPECT_EQ(
        RgbOf({.kind = K::IntegerPlain, .layout = L::Yuy2, .matrix = M::Bt2020}, 77, 128, 128),
        (Rgb{77, 77, 77}));
    for (int v = 0; v < 256; v += 5) {
        const auto e = RgbOf(expanded, v, 255 - v, v / 2), b = RgbOf(boosted, v, 255 - v, v / 2);
        for (int k = 0; k < 3; ++k) EXPECT_GE(b[k], e[k]) << v;
    }
}

// ---- Look-ups at their edges ------------------------------------------------------------------

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

// The integer walk, and the float one at either depth.
INSTANTIATE_TEST_SUITE_P(
    Kernels, ChromaTest,
    testing::Values(
        KernelPlan{.kind = K::IntegerPlain, .layout = L::Yuy2, .matrix = M::Bt709, .order = P::Rgb},
        KernelPlan{.kind = F, .layout = L::Yuy2, .matrix = M::Bt709, .output = O::Range709},
        KernelPlan{.kind = F, .layout = L::Yuv16, .matrix = M::Bt2020, .output = O::By256}),
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

// The colour model against published reference points, and the LUTs and curves it gives the
// kernels: in range, smooth along grey, neutral where they should be, stored where they are read.
#include "image/ColourModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "image/KernelData.h"

namespace {

using namespace image;
using namespace image::colour;

size_t Index(unsigned r, unsigned g, unsigned b) {
    return (r + 33 * g + 1089 * b) * 3;
}

TEST(ColourModel, TransferFunctionsMeetTheirReferencePoints) {
    // PQ: 10000 nits is signal 1, 100 nits about 0.508 (ITU-R BT.2100 / SMPTE ST 2084).
    EXPECT_NEAR(PqInverseEotf(1.0), 1.0, 1e-12);
    EXPECT_NEAR(PqEotf(1.0), 1.0, 1e-12);
    EXPECT_NEAR(PqInverseEotf(0.01), 0.5081, 1e-4);
    // HLG: 1/12 of scene light is signal 0.5, full light signal 1 (ARIB STD-B67).
    EXPECT_DOUBLE_EQ(HlgOetf(1.0 / 12.0), 0.5);
    EXPECT_NEAR(HlgOetf(1.0), 1.0, 1e-6);
    EXPECT_DOUBLE_EQ(HlgSystemGamma(1000.0), 1.2);
    // BT.709: the linear segment meets the power segment at 0.018 (signal 0.081).
    EXPECT_NEAR(Bt709Oetf(0.018), 0.081, 1e-3);
    EXPECT_NEAR(Bt709Oetf(1.0), 1.0, 1e-12);
    EXPECT_NEAR(Bt1886InverseEotf(0.5), std::pow(0.5, 1 / 2.4), 1e-12);

    // Each inverse undoes its curve on both sides of every break, and below 0 (footroom).
    for (double x : {-0.05, 0.0, 0.001, 0.018, 0.05, 1.0 / 12.0, 0.3, 0.9, 1.5}) {
        EXPECT_NEAR(Bt709InverseOetf(Bt709Oetf(x)), x, 1e-12) << x;
        EXPECT_NEAR(HlgInverseOetf(HlgOetf(x)), x, 1e-12) << x;
        if (x >= 0) {
            EXPECT_NEAR(PqEotf(PqInverseEotf(x / 10)), x / 10, 1e-9) << x;
        }
    }
    const LogCurve log{0.4, 0.08, 0.09};
    EXPECT_NEAR(LogEncode(log, 0.18), 0.4, 1e-12);
    EXPECT_NEAR(LogEncode(log, 0.36), 0.48, 0.01);  // one stop up, less the offset's share
    EXPECT_NEAR(LogEncode(log, 0.0), 0.09, 1e-12);
    for (double x : {-0.005, 0.0, 0.01, 0.18, 4.0, 30.0})
        EXPECT_NEAR(LogDecode(log, LogEncode(log, x)), x, 1e-9) << x;
}

TEST(ColourModel, GamutMatricesComeFromThePrimaries) {
    // D65 in XYZ from the BT.709 primaries.
    const Matrix3 xyz = RgbToXyz(*GamutPrimaries(0));
    EXPECT_NEAR(xyz[0][0] + xyz[0][1] + xyz[0][2], 0.95046, 1e-4);
    EXPECT_NEAR(xyz[1][0] + xyz[1][1] + xyz[1][2], 1.0, 1e-12);
    EXPECT_NEAR(xyz[1][0], 0.2126, 1e-4);  // the BT.709 luma weights are its Y row
    EXPECT_NEAR(xyz[1][1], 0.7152, 1e-4);

    // BT.709 to BT.2020 as ITU-R BT.2087 publishes it.
    const double published[3][3] = {
        {0.6274, 0.3293, 0.0433}, {0.0691, 0.9195, 0.0114}, {0.0164, 0.0880, 0.8956}};
    const Matrix3 m = GamutMatrix(0, 3);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(m[i][j], published[i][j], 1e-4) << i << j;

    for (uint32_t gamut : {2u, 3u, 4u}) {
        const Matrix3 to709 = GamutMatrix(gamut, 0), back = GamutMatrix(0, gamut);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(to709[i][0] + to709[i][1] + to709[i][2], 1.0, 1e-12) << gamut;  // white
            for (int j = 0; j < 3; ++j) {
                const double product =
                    to709[i][0] * back[0][j] + to709[i][1] * back[1][j] + to709[i][2] * back[2][j];
                EXPECT_NEAR(product, i == j ? 1.0 : 0.0, 1e-12) << gamut;
            }
        }
        // A wide gamut's own red lies outside BT.709: some BT.709 channel goes negative.
        EXPECT_LT(std::min({to709[0][0], to709[1][0], to709[2][0]}), 0.0) << gamut;
    }
}

class EveryLut : public ::testing::TestWithParam<unsigned> {};

TEST_P(EveryLut, IsInRangeSmoothAlongGreyAndStoredWhereRead) {
    const unsigned number = GetParam();
    const float* lut = Lut3D(number);
    ASSERT_NE(lut, nullptr);
    for (unsigned i = 0; i < kLutFloats; ++i) {
        ASSERT_TRUE(std::isfinite(lut[i]) && lut[i] >= 0.0f && lut[i] <= 1.0f)
            << "LUT " << number << " float " << i << " = " << lut[i];
    }
    // Along grey: all gamut matrices keep white, so grey stays neutral; and never darker.
    float previous = 0.0f;
    for (unsigned k = 0; k < kLutSize; ++k) {
        const float* v = lut + Index(k, k, k);
        EXPECT_NEAR(v[0], v[1], 1e-6) << "LUT " << number << " grey node " << k;
        EXPECT_NEAR(v[2], v[1], 1e-6) << "LUT " << number << " grey node " << k;
        EXPECT_GE(v[1], previous) << "LUT " << number << " grey node " << k;
        previous = v[1];
    }
    EXPECT_GT(lut[Index(32, 32, 32)], lut[Index(0, 0, 0)] + 0.5f) << number;
    // The stored LUT is the model's, node by node, with R the fastest axis.
    for (const auto [r, g, b] :
         {std::array{1u, 0u, 0u}, {0u, 1u, 0u}, {0u, 0u, 1u}, {5u, 17u, 30u}, {32u, 3u, 9u}}) {
        const auto node = LutNode(number, r, g, b);
        for (int c = 0; c < 3; ++c) EXPECT_EQ(lut[Index(r, g, b) + c], node[c]) << number;
    }
}

// Between the nodes, the kernels' trilinear interpolation stays close to the model: no LUT has
// a cliff that 33 nodes cannot follow.
TEST_P(EveryLut, InterpolationFollowsTheModel) {
    const unsigned number = GetParam();
    const float* lut = Lut3D(number);
    double total = 0, worst = 0;
    constexpr int kSamples = 1000;
    for (int sample = 0; sample < kSamples; ++sample) {
        double in[3], f[3];
        unsigned i[3];
        for (int c = 0; c < 3; ++c) {
            in[c] = (16 + (sample * (37 + 54 * c) + 11 * c) % 220) / 255.0;  // video range
            const double x = in[c] * 32;
            i[c] = static_cast<unsigned>(x);
            f[c] = x - i[c];
        }
        const auto model = Convert(number, in[0], in[1], in[2]);
        for (int c = 0; c < 3; ++c) {
            double value = 0;
            for (unsigned corner = 0; corner < 8; ++corner) {
                const unsigned dr = corner & 1, dg = corner >> 1 & 1, db = corner >> 2;
                const double weight =
                    (dr ? f[0] : 1 - f[0]) * (dg ? f[1] : 1 - f[1]) * (db ? f[2] : 1 - f[2]);
                value += weight * lut[Index(i[0] + dr, i[1] + dg, i[2] + db) + c];
            }
            const double error = std::abs(value - model[c]) * 255;
            total += error;
            worst = std::max(worst, error);
        }
    }
    EXPECT_LT(total / (3 * kSamples), 1.0) << "LUT " << number << ", mean error in codes";
    EXPECT_LT(worst, 48.0) << "LUT " << number << ", worst error in codes";
}

INSTANTIATE_TEST_SUITE_P(ColourModel, EveryLut, ::testing::Range(0u, kLutAll));

TEST(ColourModel, TellingNodes) {
    // A gamut change alone leaves grey where it was.
    for (unsigned number : {2u, 3u, 4u})
        for (unsigned k = 0; k < kLutSize; ++k)
            EXPECT_NEAR(Lut3D(number)[Index(k, k, k)], k / 32.0, 1e-6) << number << " " << k;
    // Gamma 4 is a full-range curve: black to black, the top to (nearly) the top.
    EXPECT_EQ(Lut3D(14)[Index(0, 0, 0)], 0.0f);
    EXPECT_NEAR(Lut3D(14)[Index(32, 32, 32)], 1.0f, 1e-3);
    EXPECT_EQ(Lut3D(14)[Index(1, 0, 0) + 1], 0.0f);  // one LUT for all gamuts: channels apart
    // A BT.2020 red beyond BT.709 stays red, but is compressed rather than clipped: green and
    // blue stay above black, and the LUT is smooth across the edge of the gamut.
    const float* red = Lut3D(4) + Index(32, 2, 2);
    EXPECT_GT(red[0], 0.9f);
    for (int c : {1, 2}) EXPECT_TRUE(red[c] > 16.5f / 255 && red[c] < 0.5f * red[0]) << red[c];
    EXPECT_EQ(Lut3D(kLutAll), nullptr);
}

TEST(ColourModel, CurvesMapHlgToPqForEachDisplay) {
    for (unsigned k = 0; k < kCurveCount; ++k) {
        for (const auto& [curve, entries] :
             {std::pair{Curve8(k), 256u}, std::pair{Curve16(k), 65536u}}) {
            ASSERT_NE(curve, nullptr);
            EXPECT_EQ(curve[0], 0.0f);
            for (unsigned i = 1; i < entries; ++i) {
                const float* e = curve + 3 * i;
                ASSERT_TRUE(e[0] == e[1] && e[1] == e[2] && e[0] >= e[-3] && e[0] <= 1.0f)
                    << "curve " << k << " entry " << i;
            }
        }
        // The 16-bit set is the 8-bit set with codes 256 times as large, in and out.
        EXPECT_NEAR(Curve16(k)[3 * 128 * 256] * 65535.0 / 256, Curve8(k)[3 * 128] * 255.0, 1e-3);
        // A brighter display gets a brighter PQ signal for the same HLG white.
        if (k > 0) {
            EXPECT_GT(Curve8(k)[3 * 235], Curve8(k - 1)[3 * 235]);
        }
    }
    EXPECT_EQ(Curve8(kCurveCount), nullptr);
    EXPECT_EQ(Curve16(kCurveCount), nullptr);
}

// A brighter display never gets a dimmer curve; every curve serves some display, the brightest
// one from 1000 nits on.
TEST(ColourModel, CurveChooserRisesThroughEveryCurve) {
    unsigned previous = 0, reached = 0;
    for (uint32_t nits = 0; nits <= 1100; ++nits) {
        const unsigned curve = CurveForPeakLuminance(nits);
        ASSERT_GE(curve, previous) << nits;
        ASSERT_LT(curve, kCurveCount) << nits;
        reached |= 1u << curve;
        previous = curve;
    }
    EXPECT_EQ(reached, (1u << kCurveCount) - 1);
    EXPECT_EQ(CurveForPeakLuminance(1000), kCurveCount - 1);
    EXPECT_EQ(CurveForPeakLuminance(std::numeric_limits<uint32_t>::max()), kCurveCount - 1);
}

}  // namespace

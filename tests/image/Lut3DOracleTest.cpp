// The 3D look-up against ffmpeg's lut3d filter (trilinear) and against a trilinear interpolation
// in double precision written here, on one smooth, channel-mixing 33-point LUT and a picture of
// 8-bit B, G, R pixels; only the look-up acts (BGR4 in, no output stage, B, G, R, 0 out).
//
// What agreement to expect. Both place a byte v at x = v × 32/255 on each axis (ours with the
// factor 0.1254902) and interpolate between the two nodes around x. Our cell is found as
// round-half-even(x − 0.5), which differs from floor(x) only where x is an integer — and there the
// fraction is 0 or 1, so the same node value results. For bytes x is an integer only at 0 and 255,
// where our cap of 31.9999 rather than 32 moves the point by 0.0001 of a cell. So the sampled
// values agree to float precision; the bytes differ only by conversion: we round to nearest,
// ffmpeg's 8-bit path converts the scaled float to an integer by truncation. Hence: within 0.5
// (plus float noise) of the double reference, and within one code value of ffmpeg, at or above it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "image/ScalarKernels.h"
#include "support/Oracle.h"
#include "support/TestFiles.h"

namespace {

using namespace image;

constexpr unsigned kNodes = 33;
constexpr unsigned kWidth = 256, kHeight = 48;

// Smooth, different in each channel, every channel depending on all three inputs; values 0..1,
// as the .cube text gives them back.
std::vector<float> MakeLut() {
    std::vector<float> lut(size_t{kNodes} * kNodes * kNodes * 3);
    for (unsigned n = 0; n < kNodes * kNodes * kNodes; ++n) {
        const double r = (n % kNodes) / 32.0, g = (n / kNodes % kNodes) / 32.0;
        const double b = n / (kNodes * kNodes) / 32.0;
        const double v[3] = {0.5 + 0.45 * std::sin(2.1 * r + 0.7 * g - 0.4 * b),
                             0.1 + 0.8 * g * g * (0.6 + 0.4 * b),
                             std::pow(0.3 * r + 0.2 * g + 0.5 * b, 0.8)};
        for (unsigned c = 0; c < 3; ++c) {
            char text[32];
            std::snprintf(text, sizeof text, "%.6f", v[c]);
            lut[n * 3 + c] = std::strtof(text, nullptr);
        }
    }
    return lut;
}

std::string CubeText(const std::vector<float>& lut) {
    std::string text = "LUT_3D_SIZE 33\n";
    char line[96];
    for (size_t n = 0; n < lut.size(); n += 3) {  // R fastest, as our layout
        std::snprintf(line, sizeof line, "%.6f %.6f %.6f\n", lut[n], lut[n + 1], lut[n + 2]);
        text += line;
    }
    return text;
}

// B, G, R, unused: sweeps, the extremes, and scattered values.
std::vector<uint8_t> MakePicture() {
    std::vector<uint8_t> bytes;
    uint32_t seed = 12345;
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            seed = seed * 1664525 + 1013904223;
            const uint8_t noise[3] = {uint8_t(seed >> 8), uint8_t(seed >> 16), uint8_t(seed >> 24)};
            if (y < 16) {
                bytes.insert(bytes.end(),
                             {uint8_t(x), uint8_t(x * 7 + y * 37), uint8_t(y * 17), 0});
            } else if (y < 20) {
                const uint8_t e = x % 2 ? 255 : 0;
                bytes.insert(bytes.end(), {e, uint8_t(x & 4 ? 255 : 0), uint8_t(x), 0});
            } else {
                bytes.insert(bytes.end(), {noise[0], noise[1], noise[2], 0});
            }
        }
    }
    return bytes;
}

// Trilinear in double precision at x = v × 32/255, from floor(x).
double Reference(const std::vector<float>& lut, const uint8_t bgr[3], unsigned channel) {
    unsigned i[3];
    double f[3];
    for (unsigned axis = 0; axis < 3; ++axis) {  // R, G, B
        const double x = bgr[2 - axis] * 32.0 / 255.0;
        i[axis] = std::min(static_cast<unsigned>(x), 31u);
        f[axis] = x - i[axis];
    }
    double sum = 0;
    for (unsigned corner = 0; corner < 8; ++corner) {
        double weight = 1;
        size_t node = 0, stride = 1;
        for (unsigned axis = 0; axis < 3; ++axis, stride *= kNodes) {
            const unsigned up = corner >> axis & 1;
            weight *= up ? f[axis] : 1 - f[axis];
            node += (i[axis] + up) * stride;
        }
        sum += weight * lut[node * 3 + channel];
    }
    return sum * 255;
}

class Lut3DOracleTest : public testing::Test {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffmpeg"}); }
};

TEST_F(Lut3DOracleTest, TrilinearAgreesWithFfmpegAndWithDoublePrecision) {
    const std::vector<float> lut = MakeLut();
    const std::vector<uint8_t> picture = MakePicture();

    KernelPlan plan;
    plan.kind = KernelKind::FloatChain;
    plan.layout = InputLayout::Bgr4;
    plan.lookup = Lookup::Lut3D;
    plan.order = PixelOrder::Bgr0;
    std::vector<uint8_t> ours(picture.size());
    scalar::Run(plan, {lut.data(), nullptr, nullptr}, picture.data(), ours.data(), kWidth / 4 - 1,
                kHeight, 0);

    qvtest::TempDirectory dir;
    const std::string cube = CubeText(lut);
    qvtest::WriteFile(dir.Native("x.cube"), std::vector<uint8_t>(cube.begin(), cube.end()));
    qvtest::WriteFile(dir.Native("in.raw"), picture);
    qvtest::Output("ffmpeg -v error -y -f rawvideo -pix_fmt bgr0 -s " + std::to_string(kWidth) +
                   "x" + std::to_string(kHeight) + " -i '" + dir.Native("in.raw") +
                   "' -vf lut3d=file='" + dir.Native("x.cube") +
                   "':interp=trilinear -f rawvideo -pix_fmt bgr0 '" + dir.Native("out.raw") + "'");
    const std::vector<uint8_t> theirs = qvtest::ReadFile(dir.Native("out.raw"));
    ASSERT_EQ(theirs.size(), picture.size());

    unsigned differing = 0;
    for (size_t p = 0; p < picture.size(); p += 4) {
        for (unsigned c = 0; c < 3; ++c) {  // bytes B, G, R: channels 2, 1, 0
            const int mine = ours[p + c];
            const double exact = Reference(lut, &picture[p], 2 - c);
            ASSERT_LE(std::abs(mine - exact), 0.5 + 1e-3) << "pixel " << p / 4 << " byte " << c;
            const int diff = mine - theirs[p + c];
            ASSERT_TRUE(diff == 0 || diff == 1) << "pixel " << p / 4 << " byte " << c << ": "
                                                << mine << " vs " << int(theirs[p + c]);
            differing += diff != 0;
        }
        ASSERT_EQ(ours[p + 3], 0);
    }
    // Truncation against rounding: about half the values differ; all of them would mean a shift.
    EXPECT_LT(differing, picture.size() / 4 * 3 * 3 / 4);
}

}  // namespace

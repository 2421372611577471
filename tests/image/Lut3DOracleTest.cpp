// The 3D look-up against ffmpeg's lut3d filter (trilinear), on one smooth, channel-mixing 33-point
// LUT and a picture of 8-bit B, G, R pixels; only the look-up acts (BGR4 in, no output stage,
// B, G, R, 0 out).
//
// What agreement to expect. Both place a byte v at x = v × 32/255 on each axis (ours with the
// factor 0.1254902) and interpolate between the two nodes around x. Our cell is found as
// round-half-even(x − 0.5), which differs from floor(x) only where x is an integer, and there the
// fraction is 0 or 1, so the same node value results. For bytes x is an integer only at 0 and 255,
// where our cap of 31.9999 rather than 32 moves the point by 0.0001 of a cell. So the sampled
// values agree to float precision and the bytes differ only by conversion: we round to nearest,
// ffmpeg's 8-bit path truncates. Ours is therefore the same or one above, everywhere.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "image/KernelData.h"
#include "image/ScalarKernels.h"
#include "support/Oracle.h"
#include "support/TestFiles.h"

namespace {

using namespace image;

constexpr unsigned kWidth = 256, kHeight = 48;

class Lut3DOracleTest : public testing::Test {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffmpeg"}); }
};

TEST_F(Lut3DOracleTest, TrilinearAgreesWithFfmpeg) {
    // Smooth, each channel depending on all three inputs, written as the .cube text (R fastest,
    // as our layout) and read back from it, so that both sides use the same values.
    std::vector<float> lut(kLutFloats);
    std::string cube = "LUT_3D_SIZE 33\n";
    for (unsigned n = 0; n < kLutSize * kLutSize * kLutSize; ++n) {
        const double r = n % 33 / 32.0, g = n / 33 % 33 / 32.0, b = n / 1089 / 32.0;
        char line[96];
        std::snprintf(line, sizeof line, "%.6f %.6f %.6f\n",
                      0.5 + 0.45 * std::sin(2.1 * r + 0.7 * g - 0.4 * b),
                      0.1 + 0.8 * g * g * (0.6 + 0.4 * b),
                      std::pow(0.3 * r + 0.2 * g + 0.5 * b, 0.8));
        cube += line;
        std::sscanf(line, "%f %f %f", &lut[n * 3], &lut[n * 3 + 1], &lut[n * 3 + 2]);
    }
    // Sweeps of each channel, the extremes, then scattered values.
    std::vector<uint8_t> picture;
    uint32_t seed = 12345;
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            seed = seed * 1664525 + 1013904223;
            if (y < 16) {
                picture.insert(picture.end(),
                               {uint8_t(x), uint8_t(x * 7 + y * 37), uint8_t(y * 17), 0});
            } else if (y < 20) {
                picture.insert(picture.end(),
                               {uint8_t(x & 1 ? 255 : 0), uint8_t(x & 4 ? 255 : 0), uint8_t(x), 0});
            } else {
                picture.insert(picture.end(),
                               {uint8_t(seed >> 8), uint8_t(seed >> 16), uint8_t(seed >> 24), 0});
            }
        }
    }

    const KernelPlan plan{.kind = KernelKind::FloatChain,
                          .layout = InputLayout::Bgr4,
                          .lookup = Lookup::Lut3D,
                          .order = PixelOrder::Bgr0};
    std::vector<uint8_t> ours(picture.size());
    scalar::Run(plan, {lut.data(), nullptr, nullptr}, picture.data(), ours.data(), kWidth / 4 - 1,
                kHeight, 0);

    qvtest::TempDirectory dir;
    qvtest::WriteFile(dir.Native("x.cube"), std::vector<uint8_t>(cube.begin(), cube.end()));
    qvtest::WriteFile(dir.Native("in.raw"), picture);
    qvtest::Output("ffmpeg -v error -y -f rawvideo -pix_fmt bgr0 -s " + std::to_string(kWidth) +
                   "x" + std::to_string(kHeight) + " -i '" + dir.Native("in.raw") +
                   "' -vf lut3d=file='" + dir.Native("x.cube") +
                   "':interp=trilinear -f rawvideo -pix_fmt bgr0 '" + dir.Native("out.raw") + "'");
    const std::vector<uint8_t> theirs = qvtest::ReadFile(dir.Native("out.raw"));
    ASSERT_EQ(theirs.size(), picture.size());

    size_t above = 0;
    for (size_t at = 0; at < picture.size(); ++at) {
        if (at % 4 == 3) {
            ASSERT_EQ(ours[at], 0);
            continue;
        }
        const int diff = ours[at] - theirs[at];
        ASSERT_TRUE(diff == 0 || diff == 1) << "pixel " << at / 4 << " byte " << at % 4 << ": "
                                            << int(ours[at]) << " vs " << int(theirs[at]);
        above += diff;
    }
    // Rounding against truncation: about half the bytes; all of them would mean a shift.
    EXPECT_GT(above, picture.size() / 8);
    EXPECT_LT(above, picture.size() / 2);
}

}  // namespace

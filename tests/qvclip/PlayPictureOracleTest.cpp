// qvclip play's pictures against ffmpeg's decode of the same frames. Without target conversion a
// BT.709 clip passes the convert filter's expanding tables: luma from 16 by 256/239, chroma by 8/7,
// through the BT.709 matrix, and chroma between two pairs is their mean. The oracle is ffmpeg's
// 4:2:2 decode through that rule in double precision: even pixels (no chroma interpolated) within
// 1, all samples within 2 but for a thousandth. --scale and --contact-sheet are checked by size.
#include <gtest/gtest.h>

#include <cmath>

#include "QvclipRun.h"
#include "support/Oracle.h"

namespace {

constexpr uint32_t kWidth = 320, kHeight = 240, kFrames = 12;

class PlayPicture : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffmpeg"}); }
};

uint8_t Clamp(double value) {
    return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

// B, G, R of pixel x of a YUYV row, chroma of odd pixels the mean of the pairs on either side.
void Expected(const uint8_t* row, uint32_t x, uint8_t bgr[3]) {
    const uint32_t pair = x / 2 * 4;
    double cb = row[pair + 1], cr = row[pair + 3];
    if (x % 2 && x + 1 < kWidth) cb = (cb + row[pair + 5]) / 2, cr = (cr + row[pair + 7]) / 2;
    const double y = (row[2 * x] - 16) * 256.0 / 239, u = (cb - 128) * 8 / 7,
                 v = (cr - 128) * 8 / 7;
    bgr[0] = Clamp(y + 1.8556 * u);
    bgr[1] = Clamp(y - 0.1873 * u - 0.4681 * v);
    bgr[2] = Clamp(y + 1.5748 * v);
}

TEST_P(PlayPicture, RawFramesAgreeWithFfmpegsDecode) {
    qvtest::TempDirectory dir;
    const std::string clip = qvtest::SynthClip(
        dir, "PICT0001",
        std::string("--gop 4 --frames 12 --gamut 0 --gamma 1 --channels 0 ") + GetParam());
    const qvtest::QvclipResult run = qvtest::RunQvclip(
        dir, "play --json --frames-out '" + dir.Native("frames") + "' --raw --members " + clip);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    qvtest::Output("ffmpeg -v error -i '" + clip + "' -map 0:v -pix_fmt yuyv422 -f rawvideo '" +
                   dir.Native("frames.yuyv") + "'");
    const std::vector<uint8_t> yuyv = qvtest::ReadFile(dir.Native("frames.yuyv"));
    ASSERT_EQ(yuyv.size(), size_t{kWidth} * kHeight * 2 * kFrames);

    for (uint32_t f = 0; f < kFrames; f += 5) {
        char name[32];
        std::snprintf(name, sizeof name, "frames/frame-%06u.bgr", f);
        const std::vector<uint8_t> played = qvtest::ReadFile(dir.Native(name));
        ASSERT_EQ(played.size(), size_t{kWidth} * kHeight * 4) << name;
        size_t samples = 0, beyondTwo = 0;
        int evenWorst = 0;
        for (uint32_t y = 0; y < kHeight; ++y) {
            const uint8_t* row = yuyv.data() + (size_t{f} * kHeight + y) * kWidth * 2;
            for (uint32_t x = 0; x < kWidth; ++x) {
                uint8_t bgr[3];
                Expected(row, x, bgr);
                for (int c = 0; c < 3; ++c) {
                    const int difference = std::abs(played[(y * kWidth + x) * 4 + c] - bgr[c]);
                    if (x % 2 == 0) evenWorst = std::max(evenWorst, difference);
                    beyondTwo += difference > 2;
                    ++samples;
                }
            }
        }
        EXPECT_LE(evenWorst, 1) << name;
        EXPECT_LE(beyondTwo * 1000, samples) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Chroma, PlayPicture, testing::Values("--chroma 420", "--chroma 422"));

class PlayPictureSize : public testing::Test {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffprobe"}); }
};

TEST_F(PlayPictureSize, ScaleReducesAndTheContactSheetIsAPng) {
    qvtest::TempDirectory dir;
    const std::string clip = qvtest::SmallClip(dir, "PICT0002", 6).paths[0];
    for (uint32_t scale = 1; scale <= 2; ++scale) {
        const std::string folder = dir.Native("scale" + std::to_string(scale));
        const qvtest::QvclipResult run =
            qvtest::RunQvclip(dir, "play --json --raw --frames-out '" + folder + "' --scale " +
                                       std::to_string(scale) + " --members " + clip);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.JsonLines().at(0)["picturesWritten"], 6);
        EXPECT_EQ(qvtest::ReadFile(folder + "/frame-000005.bgr").size(),
                  size_t{kWidth >> scale} * (kHeight >> scale) * 4);
    }
    const std::string sheet = dir.Native("sheet.png");
    const qvtest::QvclipResult run =
        qvtest::RunQvclip(dir, "play --contact-sheet '" + sheet + "' --members " + clip);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(qvtest::Probe(sheet)["streams.stream.0.codec_name"], "png");
}

}  // namespace

// ffmpeg as the oracle of the movie decoders: every picture of a synthesized clip, fed in stored
// order and drained, has the bytes of ffmpeg's own decoding and conversion to yuyv422.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "codecs/support/DecoderRuns.h"
#include "support/Md5.h"
#include "support/Oracle.h"

namespace {

using namespace qvtest;

std::vector<std::string> Digests(const std::vector<Bytes>& pictures) {
    std::vector<std::string> digests;
    for (const Bytes& p : pictures) digests.push_back(Md5Hex(p.data(), p.size()));
    return digests;
}

// ffmpeg's decoding and conversion to yuyv422, one MD5 per picture.
std::vector<std::string> FfmpegDigests(const std::string& path) {
    std::istringstream lines(
        Output("ffmpeg -v error -i '" + path + "' -map 0:v -pix_fmt yuyv422 -f framemd5 -"));
    std::vector<std::string> digests;
    for (std::string line; std::getline(lines, line);)
        if (!line.empty() && line[0] != '#') digests.push_back(line.substr(line.rfind(' ') + 1));
    return digests;
}

class Oracle : public ::testing::TestWithParam<Clip> {
protected:
    void SetUp() override { RequireOracles({"ffmpeg"}); }
};

TEST_P(Oracle, EveryPictureIsFfmpegsYuyv422) {
    TempDirectory dir;
    const Written clip = Synthesize(dir, GetParam());
    const DecoderConfig config = Config(kPixelFormatYUY2, 0);
    const std::vector<std::string> expected = FfmpegDigests(clip.path);
    ASSERT_EQ(expected.size(), kFrames);
    EXPECT_EQ(Digests(DecodeAll(*Open(GetParam().codec, config), config, clip.samples)), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Clips, Oracle,
    ::testing::Values(Clip{SynthCodec::H264, 8, 420, kGop}, Clip{SynthCodec::H264, 8, 422, 1},
                      Clip{SynthCodec::H264, 10, 420, kGop}, Clip{SynthCodec::H264, 10, 422, kGop},
                      Clip{SynthCodec::HEVC, 8, 420, kGop}, Clip{SynthCodec::HEVC, 10, 420, 1},
                      Clip{SynthCodec::HEVC, 10, 422, kGop}, Clip{SynthCodec::MPEG2, 8, 420, kGop},
                      Clip{SynthCodec::MPEG2, 8, 420, 1}, Clip{SynthCodec::MPEG2, 8, 422, kGop}),
    [](const auto& info) { return Name(info.param); });

}  // namespace

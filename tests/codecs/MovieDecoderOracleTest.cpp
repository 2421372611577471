// ffmpeg as the oracle of the movie decoders: every picture of a synthesized clip, fed in stored
// order and drained, has the bytes of ffmpeg's own decoding and conversion to yuyv422 and to bgra;
// a full-range stream's pictures stay full range.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
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

class Oracle : public ::testing::Test {
protected:
    void SetUp() override { RequireOracles({"ffmpeg"}); }
};

class OracleClips : public Oracle, public ::testing::WithParamInterface<Clip> {};

// BGR4 is converted with the decoder's own scaler flags, by the matrix the stream signals.
TEST_P(OracleClips, EveryPictureIsFfmpegsYuyv422AndBgra) {
    TempDirectory dir;
    const Written clip = Synthesize(dir, GetParam());
    for (const auto& [format, ffmpegFormat, flags] :
         {std::tuple{kPixelFormatYUY2, "yuyv422", ""},
          {kPixelFormatBGR4, "bgra", "-sws_flags bicubic+accurate_rnd+full_chroma_int"}}) {
        const DecoderConfig config = Config(format, 0);
        const std::vector<std::string> expected = FrameMD5s(clip.path, "v", ffmpegFormat, flags);
        ASSERT_EQ(expected.size(), kFrames);
        EXPECT_EQ(Digests(DecodeAll(*Open(GetParam().codec, config), config, clip.samples)),
                  expected)
            << ffmpegFormat;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Clips, OracleClips,
    ::testing::Values(Clip{SynthCodec::H264, 8, 420, kGop}, Clip{SynthCodec::H264, 8, 422, 1},
                      Clip{SynthCodec::H264, 10, 420, kGop}, Clip{SynthCodec::H264, 10, 422, kGop},
                      Clip{SynthCodec::HEVC, 8, 420, kGop}, Clip{SynthCodec::HEVC, 10, 420, 1},
                      Clip{SynthCodec::HEVC, 10, 422, kGop}, Clip{SynthCodec::HEVC, 12, 422, kGop},
                      Clip{SynthCodec::MPEG2, 8, 420, kGop}, Clip{SynthCodec::MPEG2, 8, 420, 1},
                      Clip{SynthCodec::MPEG2, 8, 422, kGop}),
    [](const auto& info) { return Name(info.param); });

TEST_F(Oracle, AFullRangePictureStaysFullRange) {
    TempDirectory dir;
    const std::string path = dir.Native("full.h264");
    Output(
        "ffmpeg -v error -f lavfi -i testsrc=size=128x72 -frames:v 5 -pix_fmt yuvj420p "
        "-c:v libx264 -x264-params aud=1 '" +
        path + "'");
    // One sample per access unit, each starting with its delimiter.
    const Bytes stream = ReadFile(path), delimiter = {0, 0, 0, 1, 9};
    std::vector<Bytes> samples;
    for (auto at = stream.begin(); at != stream.end();) {
        const auto next = std::search(at + 1, stream.end(), delimiter.begin(), delimiter.end());
        samples.emplace_back(at, next);
        at = next;
    }
    const DecoderConfig config = Config(kPixelFormatYUY2, 0);
    EXPECT_EQ(Digests(DecodeAll(*Open(SynthCodec::H264, config), config, samples, 1)),
              FrameMD5s(path, "v", "yuyv422", "-vf scale=in_range=full:out_range=full"));
}

}  // namespace

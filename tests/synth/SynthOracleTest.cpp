// Independent readers agree with what the clip writer says it wrote: ffprobe and mediainfo see the
// picture size, rate, duration and sound tracks of the descriptors, ffmpeg's packets of every
// stream have the digests of the elements, frame by frame, and its decoded pictures show their
// numbers in display order. Without the tools the tests skip, or
// fail when QV_REQUIRE_ORACLES=1.
#include <gtest/gtest.h>

#include <stdio.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/Oracle.h"
#include "support/TestFiles.h"

#include "tools/qvclip/synth/Synthesizer.h"
#include "tools/qvclip/synth/TestPattern.h"

namespace {

using namespace qvtest;
using synth::SynthCodec;

struct OracleCase {
    const char* name;
    SynthCodec codec;
    uint32_t gop, bitDepth, chroma, channels, soundBits, rateNumerator, rateDenominator;
    bool headerIndex, fill, randomIndexPack;
};

void PrintTo(const OracleCase& c, std::ostream* out) {
    *out << c.name;
}

class SynthOracle : public testing::TestWithParam<OracleCase> {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffprobe", "ffmpeg", "mediainfo"}); }
};

TEST_P(SynthOracle, IndependentReadersAgree) {
    const OracleCase& c = GetParam();
    qvtest::TempDirectory dir;
    synth::SynthOptions o;
    o.outDir = dir.root;
    o.codec = c.codec;
    o.gop = c.gop;
    o.frames = 24;
    o.width = 320;
    o.height = 180;
    o.rateNumerator = c.rateNumerator;
    o.rateDenominator = c.rateDenominator;
    o.bitDepth = c.bitDepth;
    o.chroma = c.chroma;
    o.channels = c.channels;
    o.soundBits = c.soundBits;
    o.partitions = c.headerIndex ? 1 : 3;
    o.headerIndex = c.headerIndex;
    o.fill = c.fill;
    o.randomIndexPack = c.randomIndexPack;
    const synth::SynthResult result = synth::Synthesize(o);
    const std::string path = result.paths.at(0);
    const double seconds = 24.0 * c.rateDenominator / c.rateNumerator;

    auto probe = Probe(path);
    const char* codecName = c.codec == SynthCodec::H264   ? "h264"
                            : c.codec == SynthCodec::HEVC ? "hevc"
                                                          : "mpeg2video";
    EXPECT_EQ(probe["streams.stream.0.codec_name"], codecName);
    EXPECT_EQ(probe["streams.stream.0.width"], "320");
    EXPECT_EQ(probe["streams.stream.0.height"], "180");
    EXPECT_EQ(probe["streams.stream.0.r_frame_rate"],
              std::to_string(c.rateNumerator) + "/" + std::to_string(c.rateDenominator));
    EXPECT_NEAR(std::stod(probe["streams.stream.0.duration"]), seconds, 0.001);
    EXPECT_EQ(probe.count("streams.stream." + std::to_string(c.channels + 1) + ".codec_type"), 0u);

    std::vector<std::string> pictures;
    for (const synth::SynthPackage& p : result.packages) pictures.push_back(p.picture.md5);
    EXPECT_EQ(FrameMD5s(path, "v"), pictures);
    // ffmpeg's decode of each picture, in display order, shows that picture's number.
    const std::string luma =
        Output("ffmpeg -v error -i '" + path + "' -map 0:v -f rawvideo -pix_fmt gray -");
    const synth::TestPattern pattern(320, 180, 8, 420);
    ASSERT_EQ(luma.size(), 320u * 180 * 24);
    for (uint64_t n = 0; n < 24; ++n)
        EXPECT_EQ(pattern.ReadNumber(reinterpret_cast<const uint8_t*>(&luma[n * 320 * 180]), 320),
                  n);
    for (uint32_t k = 0; k < c.channels; ++k) {
        const std::string prefix = "streams.stream." + std::to_string(k + 1) + ".";
        EXPECT_EQ(probe[prefix + "codec_type"], "audio");
        EXPECT_EQ(probe[prefix + "channels"], "1");
        EXPECT_EQ(probe[prefix + "sample_rate"], "48000");
        EXPECT_EQ(probe[prefix + "bits_per_sample"], std::to_string(c.soundBits));
        std::vector<std::string> sound;
        for (const synth::SynthPackage& p : result.packages) sound.push_back(p.sound.at(k).md5);
        EXPECT_EQ(FrameMD5s(path, "a:" + std::to_string(k)), sound) << "sound " << k;
    }

    std::istringstream video(Output(
        "mediainfo --Inform='Video;%Width% %Height% %FrameRate% %FrameCount%' '" + path + "'"));
    uint32_t width = 0, height = 0, count = 0;
    double rate = 0;
    video >> width >> height >> rate >> count;
    EXPECT_EQ(width, 320u);
    EXPECT_EQ(height, 180u);
    EXPECT_NEAR(rate, double(c.rateNumerator) / c.rateDenominator, 0.001);
    EXPECT_EQ(count, 24u);
    std::string expectedSound;
    for (uint32_t k = 0; k < c.channels; ++k)
        expectedSound += "1 48000 " + std::to_string(c.soundBits) + "|";
    EXPECT_EQ(
        Output("mediainfo --Inform='Audio;%Channel(s)% %SamplingRate% %BitDepth%|' '" + path + "'"),
        expectedSound + "\n");
}

INSTANTIATE_TEST_SUITE_P(Clips, SynthOracle,
                         testing::Values(OracleCase{"H264LongGOP", SynthCodec::H264, 12, 8, 420, 2,
                                                    24, 25, 1, false, false, true},
                                         OracleCase{"H264Intra10Bit422", SynthCodec::H264, 1, 10,
                                                    422, 1, 16, 30000, 1001, true, false, true},
                                         OracleCase{"HEVC10Bit", SynthCodec::HEVC, 8, 10, 420, 4,
                                                    24, 50, 1, false, true, true},
                                         OracleCase{"MPEG2Of422", SynthCodec::MPEG2, 15, 8, 422, 2,
                                                    16, 24000, 1001, false, false, false}),
                         [](const testing::TestParamInfo<OracleCase>& info) {
                             return std::string(info.param.name);
                         });

}  // namespace

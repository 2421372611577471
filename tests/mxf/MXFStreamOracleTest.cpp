// Independent readers agree with the clip writer and with MXFStream: ffmpeg's packets of every
// stream have the digests of the elements written and of those we read, frame by frame, its
// decoded pictures show their numbers in display order, and ffprobe and mediainfo report the
// size, rate, duration and sound tracks that the options asked for and our descriptors say.
// Without the tools the tests skip, or fail when QV_REQUIRE_ORACLES=1.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "mxf/MDValue.h"
#include "mxf/MXFError.h"
#include "mxf/MXFLocalTags.h"
#include "mxf/MXFStream.h"
#include "support/Md5.h"
#include "support/Oracle.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"
#include "tools/qvclip/synth/TestPattern.h"

namespace {

using namespace qvtest;
using synth::SynthCodec;

struct Clip {
    const char* name;
    SynthCodec codec;
    uint32_t gop, bitDepth, chroma, channels, soundBits, rateNumerator, rateDenominator, partitions;
    bool headerIndex, fill, randomIndexPack;
};

class MXFStreamOracle : public ::testing::TestWithParam<Clip> {
protected:
    void SetUp() override { RequireOracles({"ffprobe", "ffmpeg", "mediainfo"}); }
};

uint32_t DescriptorNumber(const STTrack& track, uint32_t tag) {
    CUSharedPtr<MDValue> value = track.GetDescriptorValueAs<MDValue>(tag);
    return value ? value->AsUInt32() : 0;
}

TEST_P(MXFStreamOracle, FfmpegAndMediainfoAgreeWithTheWriterAndOurReads) {
    const Clip& c = GetParam();
    TempDirectory dir;
    const synth::SynthResult result = synth::Synthesize({.outDir = dir.root,
                                                         .codec = c.codec,
                                                         .gop = c.gop,
                                                         .frames = 24,
                                                         .width = 320,
                                                         .height = 180,
                                                         .rateNumerator = c.rateNumerator,
                                                         .rateDenominator = c.rateDenominator,
                                                         .bitDepth = c.bitDepth,
                                                         .chroma = c.chroma,
                                                         .channels = c.channels,
                                                         .soundBits = c.soundBits,
                                                         .partitions = c.partitions,
                                                         .randomIndexPack = c.randomIndexPack,
                                                         .headerIndex = c.headerIndex,
                                                         .fill = c.fill});
    const std::string path = result.paths.at(0);

    // Element digests: [0] the picture, [1 + k] sound k; as written and as we read them.
    CUSharedPtr<MXFStream> stream = CUCreate<MXFStream>(CUCreate<CUStringWin>(path.c_str()));
    ASSERT_EQ(stream->Open(), MXFErrorNone);
    ASSERT_EQ(stream->frameCount, 24u);
    std::vector<uint8_t> buffer(1 << 20);
    std::vector<std::vector<std::string>> written(1 + c.channels), ours(1 + c.channels);
    for (uint64_t frame = 0; frame < 24; ++frame)
        for (uint32_t e = 0; e <= c.channels; ++e) {
            const synth::SynthPackage& p = result.packages[frame];
            written[e].push_back(e == 0 ? p.picture.md5 : p.sound.at(e - 1).md5);
            const uint64_t got = stream->ReadElement(frame, 1 + e, buffer.data(), buffer.size());
            ours[e].push_back(Md5Hex(buffer.data(), got));
        }
    EXPECT_EQ(FrameMD5s(path, "v"), written[0]);
    EXPECT_EQ(ours[0], written[0]);
    for (uint32_t k = 0; k < c.channels; ++k) {
        EXPECT_EQ(FrameMD5s(path, "a:" + std::to_string(k)), written[1 + k]) << "sound " << k;
        EXPECT_EQ(ours[1 + k], written[1 + k]) << "sound " << k;
    }
    // ffmpeg's decode of each picture, in display order, shows that picture's number.
    const std::string luma =
        Output("ffmpeg -v error -i '" + path + "' -map 0:v -f rawvideo -pix_fmt gray -");
    const synth::TestPattern pattern(320, 180, 8, 420);
    ASSERT_EQ(luma.size(), 320u * 180 * 24);
    for (uint64_t n = 0; n < 24; ++n)
        EXPECT_EQ(pattern.ReadNumber(reinterpret_cast<const uint8_t*>(&luma[n * 320 * 180]), 320),
                  n);

    // The picture descriptor as we read it (track 1), the options and ffprobe agree.
    CUSharedPtr<STTrack> picture = stream->headerMetadata->GetTrack(1);
    ASSERT_TRUE(picture);
    EXPECT_EQ(DescriptorNumber(*picture, mxf_tag::DisplayWidth), 320u);
    EXPECT_EQ(DescriptorNumber(*picture, mxf_tag::DisplayHeight), 180u);
    EXPECT_EQ(picture->editRate.numerator, int32_t(c.rateNumerator));
    EXPECT_EQ(picture->editRate.denominator, int32_t(c.rateDenominator));
    EXPECT_EQ(picture->duration, 24);
    auto probe = Probe(path);
    EXPECT_EQ(probe["streams.stream.0.codec_name"], c.codec == SynthCodec::H264   ? "h264"
                                                    : c.codec == SynthCodec::HEVC ? "hevc"
                                                                                  : "mpeg2video");
    EXPECT_EQ(probe["streams.stream.0.width"], "320");
    EXPECT_EQ(probe["streams.stream.0.height"], "180");
    EXPECT_EQ(probe["streams.stream.0.r_frame_rate"],
              std::to_string(c.rateNumerator) + "/" + std::to_string(c.rateDenominator));
    EXPECT_NEAR(std::stod(probe["streams.stream.0.duration"]),
                24.0 * c.rateDenominator / c.rateNumerator, 0.001);
    EXPECT_EQ(probe.count("streams.stream." + std::to_string(c.channels + 1) + ".codec_type"), 0u);
    std::string sound;
    for (uint32_t k = 0; k < c.channels; ++k) {
        SCOPED_TRACE(k);
        CUSharedPtr<STTrack> track = stream->headerMetadata->GetTrack(2 + k);
        ASSERT_TRUE(track);
        EXPECT_EQ(DescriptorNumber(*track, mxf_tag::ChannelCount), 1u);
        EXPECT_EQ(DescriptorNumber(*track, mxf_tag::QuantizationBits), c.soundBits);
        CUSharedPtr<MDValue> sampling =
            track->GetDescriptorValueAs<MDValue>(mxf_tag::AudioSamplingRate);
        ASSERT_TRUE(sampling);
        EXPECT_EQ(sampling->AsRational().numerator / sampling->AsRational().denominator, 48000);
        const std::string prefix = "streams.stream." + std::to_string(1 + k) + ".";
        EXPECT_EQ(probe[prefix + "codec_type"], "audio");
        EXPECT_EQ(probe[prefix + "channels"], "1");
        EXPECT_EQ(probe[prefix + "sample_rate"], "48000");
        EXPECT_EQ(probe[prefix + "bits_per_sample"], std::to_string(c.soundBits));
        sound += "1 48000 " + std::to_string(c.soundBits) + "|";
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
    EXPECT_EQ(
        Output("mediainfo --Inform='Audio;%Channel(s)% %SamplingRate% %BitDepth%|' '" + path + "'"),
        sound + "\n");
}

// Codecs, GOPs, depths, chroma, rates, sound widths, one to three partitions, the header-held
// index, fill and the Random Index Pack, each in at least one clip.
INSTANTIATE_TEST_SUITE_P(Clips, MXFStreamOracle,
                         ::testing::Values(Clip{"H264LongGOP", SynthCodec::H264, 12, 8, 420, 2, 24,
                                                25, 1, 3, false, false, true},
                                           Clip{"H264Intra10Bit422", SynthCodec::H264, 1, 10, 422,
                                                1, 16, 30000, 1001, 1, true, false, true},
                                           Clip{"HEVC10Bit", SynthCodec::HEVC, 8, 10, 420, 4, 16,
                                                50, 1, 3, false, true, true},
                                           Clip{"MPEG2Of422", SynthCodec::MPEG2, 15, 8, 422, 2, 24,
                                                24000, 1001, 2, false, false, false}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace

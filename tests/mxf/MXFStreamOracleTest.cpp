// An independent reader agrees with ours: ffmpeg's packets of the picture and of every sound
// stream have the digests of the elements that MXFStream reads, frame by frame, and ffprobe and
// mediainfo report the size, rate, duration and sound tracks that the descriptors say.
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

namespace {

using namespace qvtest;
using synth::SynthCodec;

struct Clip {
    const char* name;
    SynthCodec codec;
    uint32_t channels, soundBits, rateNumerator, rateDenominator, partitions;
    bool headerIndex;
};

class MXFStreamOracle : public ::testing::TestWithParam<Clip> {
protected:
    void SetUp() override { RequireOracles({"ffprobe", "ffmpeg", "mediainfo"}); }
};

uint32_t DescriptorNumber(const STTrack& track, uint32_t tag) {
    CUSharedPtr<MDValue> value = track.GetDescriptorValueAs<MDValue>(tag);
    return value ? value->AsUInt32() : 0;
}

TEST_P(MXFStreamOracle, FfmpegAndMediainfoAgreeWithOurReads) {
    const Clip& c = GetParam();
    TempDirectory dir;
    synth::SynthOptions o;
    o.outDir = dir.root;
    o.codec = c.codec;
    o.width = 320;
    o.height = 180;
    o.frames = 30;
    o.channels = c.channels;
    o.soundBits = c.soundBits;
    o.rateNumerator = c.rateNumerator;
    o.rateDenominator = c.rateDenominator;
    o.partitions = c.partitions;
    o.headerIndex = c.headerIndex;
    const std::string path = synth::Synthesize(o).paths.at(0);

    CUSharedPtr<MXFStream> stream = CUCreate<MXFStream>(CUCreate<CUStringWin>(path.c_str()));
    ASSERT_EQ(stream->Open(), MXFErrorNone);
    std::vector<uint8_t> buffer(1 << 20);
    std::vector<std::vector<std::string>> ours(1 + c.channels);
    for (uint64_t frame = 0; frame < stream->frameCount; ++frame)
        for (uint32_t e = 0; e <= c.channels; ++e) {
            const uint64_t got = stream->ReadElement(frame, 1 + e, buffer.data(), buffer.size());
            ours[e].push_back(Md5Hex(buffer.data(), got));
        }
    EXPECT_EQ(FrameMD5s(path, "v"), ours[0]);
    for (uint32_t k = 0; k < c.channels; ++k)
        EXPECT_EQ(FrameMD5s(path, "a:" + std::to_string(k)), ours[1 + k]) << "sound " << k;

    // What the descriptors say, read through our tracks: picture track 1, sound tracks behind it.
    CUSharedPtr<STTrack> picture = stream->headerMetadata->GetTrack(1);
    ASSERT_TRUE(picture);
    const uint32_t width = DescriptorNumber(*picture, mxf_tag::DisplayWidth);
    const uint32_t height = DescriptorNumber(*picture, mxf_tag::DisplayHeight);
    const std::string rate = std::to_string(picture->editRate.numerator) + "/" +
                             std::to_string(picture->editRate.denominator);
    const double seconds =
        double(picture->duration) * picture->editRate.denominator / picture->editRate.numerator;
    auto probe = Probe(path);
    EXPECT_EQ(probe["streams.stream.0.width"], std::to_string(width));
    EXPECT_EQ(probe["streams.stream.0.height"], std::to_string(height));
    EXPECT_EQ(probe["streams.stream.0.r_frame_rate"], rate);
    EXPECT_NEAR(std::stod(probe["streams.stream.0.duration"]), seconds, 0.001);
    std::string sound;
    for (uint32_t k = 0; k < c.channels; ++k) {
        CUSharedPtr<STTrack> track = stream->headerMetadata->GetTrack(2 + k);
        ASSERT_TRUE(track);
        const std::string prefix = "streams.stream." + std::to_string(1 + k) + ".";
        const uint32_t channels = DescriptorNumber(*track, mxf_tag::ChannelCount);
        const uint32_t bits = DescriptorNumber(*track, mxf_tag::QuantizationBits);
        CUSharedPtr<MDValue> sampling =
            track->GetDescriptorValueAs<MDValue>(mxf_tag::AudioSamplingRate);
        ASSERT_TRUE(sampling);
        const MXFRational hz = sampling->AsRational();
        EXPECT_EQ(probe[prefix + "channels"], std::to_string(channels));
        EXPECT_EQ(probe[prefix + "bits_per_sample"], std::to_string(bits));
        EXPECT_EQ(probe[prefix + "sample_rate"], std::to_string(hz.numerator / hz.denominator));
        sound += std::to_string(channels) + " " + std::to_string(hz.numerator / hz.denominator) +
                 " " + std::to_string(bits) + "|";
    }

    std::istringstream video(
        Output("mediainfo --Inform='Video;%Width% %Height% %FrameCount%' '" + path + "'"));
    uint32_t mediaWidth = 0, mediaHeight = 0;
    uint64_t frames = 0;
    video >> mediaWidth >> mediaHeight >> frames;
    EXPECT_EQ(mediaWidth, width);
    EXPECT_EQ(mediaHeight, height);
    EXPECT_EQ(frames, stream->frameCount);
    EXPECT_EQ(
        Output("mediainfo --Inform='Audio;%Channel(s)% %SamplingRate% %BitDepth%|' '" + path + "'"),
        sound + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Clips, MXFStreamOracle,
    ::testing::Values(Clip{"H264ThreePartitions", SynthCodec::H264, 2, 24, 25, 1, 3, false},
                      Clip{"HevcHeaderIndex", SynthCodec::HEVC, 4, 16, 50, 1, 1, true},
                      Clip{"Mpeg2Ntsc", SynthCodec::MPEG2, 1, 24, 30000, 1001, 2, false}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace

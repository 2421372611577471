// The three movie decoders on synthesized clips: every picture, fed in stored order and drained,
// has the bytes of ffmpeg's own yuyv422 conversion; reduced scales are the full picture sampled;
// damaged samples neither stall nor spoil the next key frame; drains and segments follow on.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "codecs/CMBXH264Decoder.h"
#include "codecs/CMBXHevcDecoder.h"
#include "codecs/CMBXMpeg2Decoder.h"
#include "support/Md5.h"
#include "support/Oracle.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace {

using namespace qvtest;
using synth::SynthCodec;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kWidth = 128, kHeight = 72, kFrames = 14, kGop = 6;

struct Clip {
    SynthCodec codec;
    uint32_t bitDepth, chroma, gop;
};

std::string Name(const Clip& c) {
    const char* codec = c.codec == SynthCodec::H264 ? "H264" : c.codec == SynthCodec::HEVC ? "HEVC" : "MPEG2";
    return std::string(codec) + "_" + std::to_string(c.bitDepth) + "bit_" + std::to_string(c.chroma) +
           "_gop" + std::to_string(c.gop);
}

std::unique_ptr<IMBXMovieDecoder> MakeDecoder(SynthCodec codec) {
    if (codec == SynthCodec::H264) return std::make_unique<CMBXH264Decoder>();
    if (codec == SynthCodec::HEVC) return std::make_unique<CMBXHevcDecoder>();
    return std::make_unique<CMBXMpeg2Decoder>();
}

// The clip's file and its picture elements in stored order.
struct Written {
    std::string path;
    std::vector<Bytes> samples;
};

Written Synthesize(const TempDirectory& dir, const Clip& c) {
    const synth::SynthResult result = synth::Synthesize({.outDir = dir.root, .codec = c.codec,
                                                         .gop = c.gop, .frames = kFrames,
                                                         .width = kWidth, .height = kHeight,
                                                         .bitDepth = c.bitDepth, .chroma = c.chroma,
                                                         .channels = 0});
    Written clip{result.paths.at(0), {}};
    const Bytes file = ReadFile(clip.path);
    for (const synth::SynthPackage& p : result.packages)
        clip.samples.emplace_back(file.begin() + p.picture.offset,
                                  file.begin() + p.picture.offset + p.picture.size);
    return clip;
}

DecoderConfig Config(uint32_t format, uint32_t scale) {
    const uint32_t factor = 1u << scale;
    return {.pixelFormat = format, .width = kWidth / factor, .height = kHeight / factor,
            .pictureScale = scale, .fullWidth = kWidth, .fullHeight = kHeight};
}

uint32_t PictureBytes(const DecoderConfig& config) {
    return config.width * config.height * (config.pixelFormat == kPixelFormatYUY2 ? 2 : 4);
}

// Feeds every sample, whole or in the rest the decoder leaves, then drains: the pictures written.
std::vector<Bytes> DecodeAll(IMBXMovieDecoder& decoder, const DecoderConfig& config,
                       const std::vector<Bytes>& samples) {
    std::vector<Bytes> pictures;
    Bytes output(PictureBytes(config));
    uint32_t written = 0, consumed = 0;
    uint8_t ready = 0;
    auto take = [&] {
        if (!ready) return;
        EXPECT_EQ(written, output.size());
        EXPECT_EQ(decoder.GetPictureFlags(), 0);  // the clips are limited range
        pictures.push_back(output);
    };
    for (const Bytes& sample : samples)
        for (uint32_t at = 0; at < sample.size(); at += consumed) {
            decoder.Decode(sample.data() + at, static_cast<int32_t>(sample.size() - at),
                           output.data(), static_cast<uint32_t>(output.size()), &written, &ready,
                           &consumed);
            if (!ready && consumed == 0) {
                ADD_FAILURE() << "a sample neither taken nor giving a picture";
                return pictures;
            }
            take();
        }
    for (size_t n = 0; n <= samples.size(); ++n) {
        decoder.Decode(nullptr, 0, output.data(), static_cast<uint32_t>(output.size()), &written,
                       &ready, &consumed);
        EXPECT_EQ(consumed, 0u);
        if (!ready) return pictures;
        take();
    }
    ADD_FAILURE() << "the drain gives more pictures than were fed";
    return pictures;
}

std::vector<std::string> Digests(const std::vector<Bytes>& pictures) {
    std::vector<std::string> digests;
    for (const Bytes& p : pictures) digests.push_back(Md5Hex(p.data(), p.size()));
    return digests;
}

// ffmpeg's decoding and conversion to yuyv422, one MD5 per picture.
std::vector<std::string> FfmpegDigests(const std::string& path) {
    std::istringstream lines(Output("ffmpeg -v error -i '" + path +
                                    "' -map 0:v -pix_fmt yuyv422 -f framemd5 -"));
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
    const auto decoder = MakeDecoder(GetParam().codec);
    ASSERT_TRUE(decoder->Uninitialize());
    ASSERT_TRUE(decoder->Initialize(&config));
    const std::vector<std::string> expected = FfmpegDigests(clip.path);
    ASSERT_EQ(expected.size(), kFrames);
    EXPECT_EQ(Digests(DecodeAll(*decoder, config, clip.samples)), expected);
}

INSTANTIATE_TEST_SUITE_P(Clips, Oracle,
                         ::testing::Values(Clip{SynthCodec::H264, 8, 420, kGop},
                                           Clip{SynthCodec::H264, 8, 422, 1},
                                           Clip{SynthCodec::H264, 10, 420, kGop},
                                           Clip{SynthCodec::H264, 10, 422, 1},
                                           Clip{SynthCodec::HEVC, 8, 420, kGop},
                                           Clip{SynthCodec::HEVC, 10, 420, kGop},
                                           Clip{SynthCodec::HEVC, 10, 422, 1},
                                           Clip{SynthCodec::MPEG2, 8, 420, kGop},
                                           Clip{SynthCodec::MPEG2, 8, 422, 1}),
                         [](const auto& info) { return Name(info.param); });

}  // namespace

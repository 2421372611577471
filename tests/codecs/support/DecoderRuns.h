// The movie decoders' tests share these: small synthesized clips, decoders opened on them, and
// runs that feed every sample in stored order and drain, keeping the pictures written.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "codecs/CMBXH264Decoder.h"
#include "codecs/CMBXHevcDecoder.h"
#include "codecs/CMBXMpeg2Decoder.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace qvtest {

using synth::SynthCodec;
using Bytes = std::vector<uint8_t>;

constexpr uint32_t kWidth = 128, kHeight = 72, kFrames = 14, kGop = 6;

struct Clip {
    SynthCodec codec;
    uint32_t bitDepth, chroma, gop;
};

inline std::string Name(const Clip& c) {
    const char* codec = c.codec == SynthCodec::H264   ? "H264"
                        : c.codec == SynthCodec::HEVC ? "HEVC"
                                                      : "MPEG2";
    return std::string(codec) + "_" + std::to_string(c.bitDepth) + "bit_" +
           std::to_string(c.chroma) + "_gop" + std::to_string(c.gop);
}

inline std::unique_ptr<IMBXMovieDecoder> MakeDecoder(SynthCodec codec) {
    if (codec == SynthCodec::H264) return std::make_unique<CMBXH264Decoder>();
    if (codec == SynthCodec::HEVC) return std::make_unique<CMBXHevcDecoder>();
    return std::make_unique<CMBXMpeg2Decoder>();
}

// The clip's file and its picture elements in stored order.
struct Written {
    std::string path;
    std::vector<Bytes> samples;
};

inline Written Synthesize(const TempDirectory& dir, const Clip& c) {
    const synth::SynthResult result = synth::Synthesize({.outDir = dir.root,
                                                         .codec = c.codec,
                                                         .gop = c.gop,
                                                         .frames = kFrames,
                                                         .width = kWidth,
                                                         .height = kHeight,
                                                         .bitDepth = c.bitDepth,
                                                         .chroma = c.chroma,
                                                         .channels = 0});
    Written clip{result.paths.at(0), {}};
    const Bytes file = ReadFile(clip.path);
    for (const synth::SynthPackage& p : result.packages)
        clip.samples.emplace_back(file.begin() + p.picture.offset,
                                  file.begin() + p.picture.offset + p.picture.size);
    return clip;
}

inline DecoderConfig Config(uint32_t format, uint32_t scale) {
    const uint32_t factor = 1u << scale;
    return {.pixelFormat = format,
            .width = kWidth / factor,
            .height = kHeight / factor,
            .pictureScale = scale,
            .fullWidth = kWidth,
            .fullHeight = kHeight};
}

// The decoders write the full picture at every scale.
inline uint32_t PictureBytes(const DecoderConfig& config) {
    return config.fullWidth * config.fullHeight * (config.pixelFormat == kPixelFormatYUY2 ? 2 : 4);
}

// Feeds every sample, whole or in the rest the decoder leaves, then drains: the pictures written,
// each with the picture flags `flags`.
inline std::vector<Bytes> DecodeAll(IMBXMovieDecoder& decoder, const DecoderConfig& config,
                                    const std::vector<Bytes>& samples, uint8_t flags = 0) {
    std::vector<Bytes> pictures;
    Bytes output(PictureBytes(config));
    uint32_t written = 0, consumed = 0;
    uint8_t ready = 0;
    auto take = [&] {
        if (!ready) return;
        EXPECT_EQ(written, output.size());
        EXPECT_EQ(decoder.GetPictureFlags(), flags);
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

// The decoder of `codec`, opened with `config`.
inline std::unique_ptr<IMBXMovieDecoder> Open(SynthCodec codec, const DecoderConfig& config) {
    auto decoder = MakeDecoder(codec);
    EXPECT_TRUE(decoder->Uninitialize());
    EXPECT_TRUE(decoder->Initialize(&config));
    return decoder;
}

}  // namespace qvtest

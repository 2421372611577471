// The movie decoders on synthesized clips: the full picture at every scale (reducing is the resize
// filter's; the pictures' bytes are the oracle test's); drains repeat harmlessly and segments
// follow one another; damaged samples neither stall the decoder nor spoil the next key frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "codecs/support/DecoderRuns.h"

namespace {

using namespace qvtest;

const Clip kClips[] = {{SynthCodec::H264, 8, 420, kGop},
                       {SynthCodec::HEVC, 10, 422, kGop},
                       {SynthCodec::MPEG2, 8, 420, kGop}};

class Decoder : public ::testing::TestWithParam<Clip> {};

TEST_P(Decoder, EveryScaleGivesTheFullPictureAndDrainsRepeat) {
    TempDirectory dir;
    const Written clip = Synthesize(dir, GetParam());
    const DecoderConfig config = Config(kPixelFormatYUY2, 0);
    const auto decoder = MakeDecoder(GetParam().codec);
    Bytes output(PictureBytes(config) + 1, 0xA5);
    uint32_t written = 7, consumed = 7;
    uint8_t ready = 7;
    // Not initialised: nothing taken, nothing written.
    decoder->Decode(clip.samples[0].data(), static_cast<int32_t>(clip.samples[0].size()),
                    output.data(), PictureBytes(config), &written, &ready, &consumed);
    EXPECT_EQ(ready + written + consumed, 0u);
    DecoderConfig unusable = config;
    unusable.pixelFormat = 0;
    EXPECT_FALSE(decoder->Initialize(&unusable));

    ASSERT_TRUE(decoder->Initialize(&config));
    const std::vector<Bytes> first = DecodeAll(*decoder, config, clip.samples);
    ASSERT_EQ(first.size(), kFrames);
    for (const uint32_t scale : {1u, 2u}) {  // every scale gives the full picture
        const DecoderConfig reduced = Config(kPixelFormatYUY2, scale);
        EXPECT_EQ(DecodeAll(*Open(GetParam().codec, reduced), reduced, clip.samples), first);
    }
    for (int again = 0; again < 2; ++again) {
        decoder->Decode(nullptr, 0, output.data(), PictureBytes(config), &written, &ready,
                        &consumed);
        EXPECT_EQ(ready + written + consumed, 0u);
    }
    EXPECT_EQ(DecodeAll(*decoder, config, clip.samples), first);

    // A buffer one byte short gets nothing; every sample is still taken.
    for (const Bytes& sample : clip.samples) {
        decoder->Decode(sample.data(), static_cast<int32_t>(sample.size()), output.data(),
                        PictureBytes(config) - 1, &written, &ready, &consumed);
        EXPECT_EQ(ready + written, 0u);
        EXPECT_EQ(consumed, sample.size());
    }
    EXPECT_EQ(output, Bytes(output.size(), 0xA5));

    ASSERT_TRUE(decoder->Uninitialize());
    ASSERT_TRUE(decoder->Initialize(&config));
    EXPECT_EQ(DecodeAll(*decoder, config, clip.samples), first);
}

INSTANTIATE_TEST_SUITE_P(Codecs, Decoder, ::testing::ValuesIn(kClips),
                         [](const auto& info) { return Name(info.param); });

// Damage to the first samples: flipped bytes, cut short, or not a picture at all.
enum Damage { Flipped, Truncated, Garbage };
const char* const kDamageNames[] = {"_Flipped", "_Truncated", "_Garbage"};

class DamagedSample : public ::testing::TestWithParam<std::tuple<Clip, Damage>> {};

TEST_P(DamagedSample, NeitherStallsNorSpoilsTheNextKeyFrame) {
    const auto [c, damage] = GetParam();
    TempDirectory dir;
    const Written clip = Synthesize(dir, c);
    const DecoderConfig config = Config(kPixelFormatYUY2, 0);
    const std::vector<Bytes> clean = DecodeAll(*Open(c.codec, config), config, clip.samples);
    std::vector<Bytes> samples = clip.samples;
    for (size_t n = 0; n < 3; ++n) {
        Bytes& sample = samples[n];
        if (damage == Truncated) sample.resize(sample.size() / 2);
        if (damage == Garbage) sample = Pattern(sample.size(), static_cast<uint8_t>(n));
        if (damage == Flipped)
            for (size_t at = sample.size() / 3; at < sample.size(); at += 7) sample[at] ^= 0x5A;
    }
    const std::vector<Bytes> damaged = DecodeAll(*Open(c.codec, config), config, samples);
    const size_t tail = kFrames - kGop;
    ASSERT_EQ(clean.size(), kFrames);
    ASSERT_GE(damaged.size(), tail);
    EXPECT_TRUE(std::equal(clean.end() - tail, clean.end(), damaged.end() - tail));
}

INSTANTIATE_TEST_SUITE_P(Codecs, DamagedSample,
                         ::testing::Combine(::testing::ValuesIn(kClips),
                                            ::testing::Values(Flipped, Truncated, Garbage)),
                         [](const auto& info) {
                             return Name(std::get<0>(info.param)) +
                                    kDamageNames[std::get<1>(info.param)];
                         });

}  // namespace

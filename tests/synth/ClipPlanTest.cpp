// Options that cannot become a clip the module reads are refused with a message; sound is shared
// out over frames in the five-frame pattern of the 1001 rates. (How the picture labels tell intra
// coding is qvclip info's test.)
#include <gtest/gtest.h>

#include <stdexcept>

#include "tools/qvclip/synth/ClipPlan.h"

namespace {

using synth::ClipPlan;
using synth::SynthCodec;
using synth::SynthOptions;

// Each case changes the default options in one way the module could not read.
TEST(ClipPlan, RefusesWithAMessage) {
    using enum SynthCodec;
    const std::pair<const char*, SynthOptions> refusals[] = {
        {"MPEG-2 of 10 bits", {.codec = MPEG2, .bitDepth = 10}},
        {"MPEG-2 at 23 fps", {.codec = MPEG2, .rateNumerator = 23}},
        {"H.264 of 12 bits", {.bitDepth = 12}},
        {"nine channels", {.channels = 9}},
        {"20-bit sound", {.soundBits = 20}},
        {"a GOP past a signed byte", {.gop = 121}},
        {"an odd width", {.width = 321}},
        {"header index over two partitions", {.partitions = 2, .headerIndex = true}},
        {"segments without a header index", {.segmentFrames = 10}},
        {"a KAG the pack cannot fill", {.kag = 128}},
        {"a dropped timecode",
         {.rateNumerator = 30000, .rateDenominator = 1001, .timecode = "00:01:00;00"}},
        {"a year the stamp cannot hold", {.date = "1999-12-31T23:59:59"}},
        {"an unknown gamma", {.gammaCode = 6}}};
    for (const auto& [what, o] : refusals) EXPECT_THROW(ClipPlan{o}, std::invalid_argument) << what;
}

TEST(ClipPlan, SoundFollowsTheFiveFramePatternAt1001Rates) {
    const ClipPlan plan({.rateNumerator = 30000, .rateDenominator = 1001});
    const uint32_t pattern[] = {1602, 1601, 1602, 1601, 1602};
    for (uint64_t frame = 0; frame < 10; ++frame)
        EXPECT_EQ(plan.SoundSamples(frame), pattern[frame % 5]) << frame;
    EXPECT_EQ(plan.SoundSampleStart(30000), 48000u * 1001);
}

}  // namespace

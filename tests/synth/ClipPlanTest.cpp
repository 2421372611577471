// Options that cannot become a clip the module reads are refused with a message; sound is shared
// out over frames in the five-frame pattern of the 1001 rates; the picture labels tell intra
// coding the way the clip wrapper reads it under either container.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "mxf/MXFLabels.h"
#include "tools/qvclip/synth/ClipPlan.h"

namespace {

using synth::ClipPlan;
using synth::SynthCodec;
using synth::SynthOptions;

struct Refusal {
    const char* what;
    std::function<void(SynthOptions&)> change;
};

void PrintTo(const Refusal& r, std::ostream* out) {
    *out << r.what;
}

class ClipPlanRefuses : public testing::TestWithParam<Refusal> {};

TEST_P(ClipPlanRefuses, WithAMessage) {
    SynthOptions o;
    GetParam().change(o);
    EXPECT_THROW(ClipPlan{o}, std::invalid_argument);
}

INSTANTIATE_TEST_SUITE_P(
    Options, ClipPlanRefuses,
    testing::Values(
        Refusal{"MPEG-2 of 10 bits",
                [](SynthOptions& o) { o.codec = SynthCodec::MPEG2, o.bitDepth = 10; }},
        Refusal{"MPEG-2 at 23 fps",
                [](SynthOptions& o) { o.codec = SynthCodec::MPEG2, o.rateNumerator = 23; }},
        Refusal{"H.264 of 12 bits", [](SynthOptions& o) { o.bitDepth = 12; }},
        Refusal{"nine channels", [](SynthOptions& o) { o.channels = 9; }},
        Refusal{"20-bit sound", [](SynthOptions& o) { o.soundBits = 20; }},
        Refusal{"a GOP past a signed byte", [](SynthOptions& o) { o.gop = 121; }},
        Refusal{"an odd width", [](SynthOptions& o) { o.width = 321; }},
        Refusal{"header index over two partitions",
                [](SynthOptions& o) { o.headerIndex = true, o.partitions = 2; }},
        Refusal{"segments without a header index", [](SynthOptions& o) { o.segmentFrames = 10; }},
        Refusal{"a KAG the pack cannot fill", [](SynthOptions& o) { o.kag = 128; }},
        Refusal{"a dropped timecode",
                [](SynthOptions& o) {
                    o.rateNumerator = 30000, o.rateDenominator = 1001, o.timecode = "00:01:00;00";
                }},
        Refusal{"a year the stamp cannot hold",
                [](SynthOptions& o) { o.date = "1999-12-31T23:59:59"; }},
        Refusal{"an unknown gamma", [](SynthOptions& o) { o.gammaCode = 6; }}));

TEST(ClipPlan, SoundFollowsTheFiveFramePatternAt1001Rates) {
    SynthOptions o;
    o.rateNumerator = 30000;
    o.rateDenominator = 1001;
    const ClipPlan plan(o);
    const uint32_t pattern[] = {1602, 1601, 1602, 1601, 1602};
    for (uint64_t frame = 0; frame < 10; ++frame)
        EXPECT_EQ(plan.SoundSamples(frame), pattern[frame % 5]) << frame;
    EXPECT_EQ(plan.SoundSampleStart(30000), 48000u * 1001);
}

TEST(ClipPlan, IntraCodingIsMarkedAsTheWrapperReadsIt) {
    SynthOptions o;
    o.gop = 1;
    EXPECT_EQ(ClipPlan(o).pictureCoding[mxf_label::CodingKindByte], mxf_label::CodingAVCIntra);
    o.codec = SynthCodec::HEVC;
    const ClipPlan hevc(o);
    EXPECT_EQ(hevc.pictureContainer, mxf_label::ContainerCamera);
    EXPECT_EQ(hevc.pictureCoding[mxf_label::CodingKindByte], mxf_label::CodingCameraIntra);
    o.gop = 12;
    EXPECT_NE(ClipPlan(o).pictureCoding[mxf_label::CodingKindByte], mxf_label::CodingCameraIntra);
    o.codec = SynthCodec::H264;
    EXPECT_EQ(ClipPlan(o).pictureCoding[mxf_label::CodingKindByte], mxf_label::CodingAVCLongGOP);
}

}  // namespace

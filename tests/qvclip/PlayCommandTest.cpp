// qvclip play over every kind of synthesized clip it can play — H.264 as a member list, HEVC as a
// lone file; 8 and 10 bits (12 for HEVC), 4:2:0 and 4:2:2, 0 to 8 sound channels of 16 or 24 bits —
// renders every frame in clip order with all its sound and messages, a frame event each. MPEG-2 is
// left out: its clips play through a clip information file, which the synthesizer does not write.
// A range from a seek plays through the whole graph or the decoder alone. Damaged clips (cut short
// at several places, overwritten in the middle) end with a one-line message or play what is
// readable, and never hang (RunQvclip's time limit). Play's refusals are with the other commands'.
#include <gtest/gtest.h>

#include "QvclipRun.h"

namespace {

constexpr uint32_t kFrames = 12;

struct KindCase {
    std::string synth;
    bool members;  // H.264 plays from a member list, HEVC from a lone file
    uint32_t channels;
};

class PlayClipKind : public testing::TestWithParam<KindCase> {};

TEST_P(PlayClipKind, RendersEveryFrameWithItsSound) {
    const KindCase& c = GetParam();
    qvtest::TempDirectory dir;
    const std::string clip =
        (c.members ? "--members " : "") +
        qvtest::SynthClip(dir, "KIND0001",
                          "--frames 12 --channels " + std::to_string(c.channels) + " " + c.synth);
    const std::string wav = c.channels ? " --wav '" + dir.Native("out.wav") + "'" : "";
    const std::string events = dir.Native("events.jsonl");
    const qvtest::QvclipResult run =
        qvtest::RunQvclip(dir, "play --json --md5 --events '" + events + "'" + wav + " " + clip);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const nlohmann::json summary = run.JsonLines().at(0);
    EXPECT_EQ(summary["rendered"], kFrames);
    EXPECT_EQ(summary["dropped"], 0);
    EXPECT_EQ(summary["first"], 0);
    EXPECT_EQ(summary["last"], kFrames - 1);
    EXPECT_EQ(summary["messages"]["timecode"], kFrames);
    EXPECT_EQ(summary["messages"]["level"], c.channels ? kFrames : 0);
    EXPECT_DOUBLE_EQ(summary["soundSeconds"].get<double>(), c.channels ? kFrames / 25.0 : 0);

    const std::vector<nlohmann::json> frames = qvtest::Events(events, "frame");
    ASSERT_EQ(frames.size(), kFrames);
    for (size_t i = 0; i < frames.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(frames[i]["frame"], i);
        EXPECT_EQ(frames[i]["start"], i * 400000);  // 25 frames a second
        EXPECT_EQ(frames[i]["stop"], (i + 1) * 400000);
        EXPECT_EQ(frames[i]["discontinuity"], i == 0);
        EXPECT_EQ(frames[i]["md5"].get<std::string>().size(), 32u);  // a decoded picture's
        if (i > 0) {
            EXPECT_NE(frames[i]["md5"], frames[i - 1]["md5"]);  // the pattern moves
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, PlayClipKind,
    testing::Values(KindCase{"--codec h264 --bit-depth 8 --chroma 420 --bits 24", true, 2},
                    KindCase{"--codec h264 --bit-depth 10 --chroma 422 --bits 16", true, 1},
                    KindCase{"--codec h264 --bit-depth 8 --chroma 422 --bits 16 --gop 1", true, 8},
                    KindCase{"--codec h264 --bit-depth 10 --chroma 420 --bits 24", true, 8},
                    KindCase{"--codec hevc --bit-depth 8 --chroma 420 --bits 24", false, 4},
                    KindCase{"--codec hevc --bit-depth 10 --chroma 422 --bits 16", false, 3},
                    KindCase{"--codec hevc --bit-depth 12 --chroma 422 --gop 1", false, 0}));

// The range from a seek, through the whole graph and through the decoder alone (no sound, no
// timecode then).
TEST(PlayCommand, PlaysTheRangeFromASeek) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "PLAY0002", 20);
    for (const std::string paths : {"", "--decode-only "}) {
        const qvtest::QvclipResult run = qvtest::RunQvclip(
            dir, "play --json " + paths + "--from 9 --count 5 --members " + clip.paths[0]);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const nlohmann::json summary = run.JsonLines().at(0);
        EXPECT_EQ(summary["rendered"], 5);
        EXPECT_EQ(summary["first"], 9);
        EXPECT_EQ(summary["last"], 13);
        EXPECT_EQ(summary["messages"]["timecode"], paths.empty() ? 5 : 0);
    }
}

// How a clip is damaged: cut to a share of its size (in thousandths), or `garbage` bytes written
// over it from that share on.
struct DamageCase {
    uint32_t share;
    size_t garbage;
};

class PlayDamaged : public testing::TestWithParam<DamageCase> {};

TEST_P(PlayDamaged, EndsWithOneLineOrPlaysWhatIsReadable) {
    const DamageCase& c = GetParam();
    qvtest::TempDirectory dir;
    const std::string path = qvtest::SmallClip(dir, "DAMAGE01", 25).paths[0];
    std::vector<uint8_t> bytes = qvtest::ReadFile(path);
    const size_t at = bytes.size() * c.share / 1000;
    if (c.garbage == 0) {
        bytes.resize(at);
    } else {
        const std::vector<uint8_t> noise = qvtest::Pattern(c.garbage, 7);
        std::copy(noise.begin(), noise.begin() + std::min(c.garbage, bytes.size() - at),
                  bytes.begin() + at);
    }
    qvtest::WriteFile(path, bytes);
    const qvtest::QvclipResult run =
        qvtest::RunQvclip(dir, "play --json --wav '" + dir.Native("out.wav") + "' --events '" +
                                   dir.Native("events.jsonl") + "' --members " + path);
    ASSERT_NE(run.exitCode, qvtest::kTimedOut) << "the play hung";
    if (run.exitCode == 0) {
        EXPECT_LE(run.JsonLines().at(0)["rendered"], 25);
    } else {
        EXPECT_EQ(run.err.rfind("qvclip: error: ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find("DAMAGE01.MXF"), std::string::npos) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        // The coding is right: a frame that cannot be read must say so, not blame the coding.
        EXPECT_EQ(run.err.find("kind of clip decides"), std::string::npos) << run.err;
    }
}

INSTANTIATE_TEST_SUITE_P(Damage, PlayDamaged,
                         testing::Values(DamageCase{5, 0}, DamageCase{100, 0}, DamageCase{250, 0},
                                         DamageCase{500, 0}, DamageCase{900, 0}, DamageCase{999, 0},
                                         DamageCase{333, 8192}, DamageCase{500, 8192},
                                         DamageCase{700, 300}));

}  // namespace

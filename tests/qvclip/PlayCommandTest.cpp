// qvclip play: the clip through the graph, a frame event for every rendered picture in clip
// order, the summary, a range from a seek (its failures are with the other commands' ones). The
// small H.264 clips are given as member lists, the kind of clip that carries H.264 (a lone MXF file
// plays as HEVC).
#include <gtest/gtest.h>

#include "QvclipRun.h"

namespace {

TEST(PlayCommand, RendersEveryFrameInOrderAndSumsUp) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "PLAY0001", 12);
    const std::string events = dir.Native("events.jsonl");
    const qvtest::QvclipResult run = qvtest::RunQvclip(
        dir, "play --json --md5 --events '" + events + "' --members " + clip.paths[0]);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const nlohmann::json summary = run.JsonLines().at(0);
    EXPECT_EQ(summary["rendered"], 12);
    EXPECT_EQ(summary["dropped"], 0);
    EXPECT_EQ(summary["first"], 0);
    EXPECT_EQ(summary["last"], 11);

    const std::vector<nlohmann::json> lines = qvtest::Events(events, "frame");
    ASSERT_EQ(lines.size(), 12u);
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["frame"], i);
        EXPECT_EQ(lines[i]["start"], i * 400000);  // 25 frames a second
        EXPECT_EQ(lines[i]["stop"], (i + 1) * 400000);
        EXPECT_EQ(lines[i]["discontinuity"], i == 0);
        EXPECT_EQ(lines[i]["md5"].get<std::string>().size(), 32u);  // a decoded picture's
        if (i > 0) {
            EXPECT_NE(lines[i]["md5"], lines[i - 1]["md5"]);  // the pattern moves
        }
    }
}

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

}  // namespace

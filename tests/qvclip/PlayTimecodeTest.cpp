// qvclip play's timecode and metadata messages and qvclip meta's rows: one of each per rendered
// frame, in order, none for the preroll frames before a seek; meta's timecodes count on from the
// synthesized start (drop-frame across a minute at 30000/1001, counted independently here), with
// the recording date and the camera metadata, and play's messages say the same. --from takes a
// frame number or a timecode of the clip.
#include <gtest/gtest.h>

#include "QvclipRun.h"
#include "tools/qvclip/synth/Timecode.h"

namespace {

struct TimecodeCase {
    std::string synth, range, firstTimecode;
    uint32_t fps;
    bool dropFrame;
    size_t frames;
};

class PlayTimecode : public testing::TestWithParam<TimecodeCase> {};

TEST_P(PlayTimecode, OneTimecodeAndMetadataMessageAFrameAsMetaReadsThem) {
    const TimecodeCase& c = GetParam();
    qvtest::TempDirectory dir;
    const std::string clip =
        " --members " +
        qvtest::SynthClip(dir, "TCODE001", "--channels 1 --date 2023-12-31T23:59:59 " + c.synth);
    const std::string events = dir.Native("events.jsonl");
    const qvtest::QvclipResult run =
        qvtest::RunQvclip(dir, "play --json --events '" + events + "' " + c.range + clip);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.JsonLines().at(0)["rendered"], c.frames);
    const qvtest::QvclipResult meta = qvtest::RunQvclip(dir, "meta --json " + c.range + clip);
    ASSERT_EQ(meta.exitCode, 0) << meta.err;
    const std::vector<nlohmann::json> rows = meta.JsonLines();
    ASSERT_EQ(rows.size(), c.frames);
    // The analyser prints tile entries; they go beside the JSON, never into it.
    if (c.synth.find("--tiles") != std::string::npos) {
        EXPECT_NE(meta.err.find("Tile pack"), std::string::npos) << meta.err;
    }

    const auto timecodes = qvtest::Events(events, "timecode");
    const auto metadata = qvtest::Events(events, "metadata");
    ASSERT_EQ(timecodes.size(), c.frames);
    ASSERT_EQ(metadata.size(), c.frames);
    const uint64_t start =
        synth::Timecode::Parse(c.firstTimecode, c.fps, c.dropFrame)->FrameCount(c.fps, c.dropFrame);
    for (size_t i = 0; i < c.frames; ++i) {
        SCOPED_TRACE(i);
        std::string expected =
            synth::Timecode::FromFrameCount(start + i, c.fps, c.dropFrame).Text(c.dropFrame);
        expected[8] = ':';  // the JSON form separates the frames with a colon, drop-frame or not
        EXPECT_EQ(rows[i]["timecode"], expected);
        EXPECT_EQ(rows[i]["dropFrame"], c.dropFrame);
        EXPECT_EQ(rows[i]["recDateTime"].get<std::string>().substr(0, 10), "2023-12-31");
        EXPECT_TRUE(rows[i]["metadata"]["ISO_Speed"].is_number());
        EXPECT_EQ(timecodes[i]["timecode"], rows[i]["timecode"]);
        EXPECT_EQ(timecodes[i]["dropFrame"], rows[i]["dropFrame"]);
        EXPECT_EQ(metadata[i]["recDateTime"], rows[i]["recDateTime"]);
        EXPECT_EQ(metadata[i]["metadata"], rows[i]["metadata"]);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Clips, PlayTimecode,
    testing::Values(
        TimecodeCase{"--frames 12 --gop 4 --timecode 10:00:00:00 --tiles", "", "10:00:00:00", 25,
                     false, 12},
        // Two frame numbers are left out at the minute.
        TimecodeCase{"--frames 6 --gop 3 --rate 30000/1001 --timecode '00:00:59;28'", "",
                     "00:00:59;28", 30, true, 6},
        // Frame 7 of a 12-frame group decodes after the preroll from frame 0, which sends nothing.
        TimecodeCase{"--frames 25 --gop 12", "--from 7", "01:00:00:07", 25, false, 18},
        TimecodeCase{"--frames 25 --gop 12", "--from 01:00:00:09 --count 3", "01:00:00:09", 25,
                     false, 3}));

}  // namespace

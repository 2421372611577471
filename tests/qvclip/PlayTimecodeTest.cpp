// qvclip play's timecode and metadata messages: one of each per rendered frame, in order, none for
// the preroll frames before a seek, each with the values that `qvclip meta` reads from the same
// frames (timecode, drop-frame flag, recording date and the camera metadata). --from takes a frame
// number or a timecode of the clip.
#include <gtest/gtest.h>

#include <fstream>

#include "QvclipRun.h"

namespace {

struct TimecodeCase {
    std::string synth, range, firstTimecode;
    size_t frames;
};

class PlayTimecode : public testing::TestWithParam<TimecodeCase> {};

TEST_P(PlayTimecode, OneTimecodeAndMetadataMessageAFrameAsMetaReadsThem) {
    const TimecodeCase& c = GetParam();
    qvtest::TempDirectory dir;
    ASSERT_EQ(qvtest::RunQvclip(dir, "synth --out '" + dir.root +
                                         "' --name TCODE001 --size 320x240 --channels 1 " + c.synth)
                  .exitCode,
              0);
    const std::string clip = " --members " + dir.Native("TCODE001.MXF");
    const std::string events = dir.Native("events.jsonl");
    const qvtest::QvclipResult run =
        qvtest::RunQvclip(dir, "play --json --events '" + events + "' " + c.range + clip);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.JsonLines().at(0)["rendered"], c.frames);
    const qvtest::QvclipResult meta = qvtest::RunQvclip(dir, "meta --json " + c.range + clip);
    ASSERT_EQ(meta.exitCode, 0) << meta.err;
    const std::vector<nlohmann::json> rows = meta.JsonLines();
    ASSERT_EQ(rows.size(), c.frames);

    std::vector<nlohmann::json> timecodes, metadata;
    std::ifstream in(events);
    for (std::string line; std::getline(in, line);) {
        nlohmann::json event = nlohmann::json::parse(line);
        if (event["event"] == "timecode") timecodes.push_back(event);
        if (event["event"] == "metadata") metadata.push_back(event);
    }
    ASSERT_EQ(timecodes.size(), c.frames);
    ASSERT_EQ(metadata.size(), c.frames);
    EXPECT_EQ(timecodes[0]["timecode"], c.firstTimecode);
    for (size_t i = 0; i < c.frames; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(timecodes[i]["timecode"], rows[i]["timecode"]);
        EXPECT_EQ(timecodes[i]["dropFrame"], rows[i]["dropFrame"]);
        EXPECT_EQ(metadata[i]["recDateTime"], rows[i]["recDateTime"]);
        EXPECT_EQ(metadata[i]["metadata"], rows[i]["metadata"]);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Clips, PlayTimecode,
    testing::Values(
        TimecodeCase{"--frames 12 --gop 4 --timecode 10:00:00:00", "", "10:00:00:00", 12},
        // Two frame numbers are left out at the minute; the events write the frames after a
        // colon, as meta does, with the drop-frame flag beside.
        TimecodeCase{"--frames 6 --gop 3 --rate 30000/1001 --timecode '00:00:59;28'", "",
                     "00:00:59:28", 6},
        // Frame 7 of a 12-frame group decodes after the preroll from frame 0, which sends nothing.
        TimecodeCase{"--frames 25 --gop 12", "--from 7", "01:00:00:07", 18},
        TimecodeCase{"--frames 25 --gop 12", "--from 01:00:00:09 --count 3", "01:00:00:09", 3}));

}  // namespace

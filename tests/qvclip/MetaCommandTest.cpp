// qvclip meta: every frame's timecode counts on from the synthesized start, drop-frame across a
// minute at 30000/1001, with the recording date beside it and the camera metadata by key.
#include <gtest/gtest.h>

#include "QvclipRun.h"
#include "tools/qvclip/synth/Timecode.h"

namespace {

TEST(MetaCommand, TimecodeOfEveryFrame) {
    qvtest::TempDirectory dir;
    synth::SynthOptions options;
    options.outDir = dir.root;
    options.name = "META0001";
    options.frames = 5;
    options.width = 320;
    options.height = 240;
    options.rateNumerator = 30000;
    options.rateDenominator = 1001;
    options.timecode = "10:00:59;28";
    options.date = "2023-12-31T23:59:59";
    const std::string path = synth::Synthesize(options).paths[0];

    const qvtest::QvclipResult run = qvtest::RunQvclip(dir, "meta --json " + path);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::vector<nlohmann::json> rows = run.JsonLines();
    ASSERT_EQ(rows.size(), 5u);
    const uint64_t start = synth::Timecode::Parse(options.timecode, 30, true)->FrameCount(30, true);
    for (size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        std::string expected = synth::Timecode::FromFrameCount(start + i, 30, true).Text(true);
        expected[8] = ':';  // the JSON form separates the frames with a colon, drop-frame or not
        EXPECT_EQ(rows[i]["frame"], i);
        EXPECT_EQ(rows[i]["timecode"], expected);
        EXPECT_EQ(rows[i]["dropFrame"], true);
        EXPECT_EQ(rows[i]["recDateTime"].get<std::string>().substr(0, 10), "2023-12-31");
        EXPECT_EQ(rows[i]["metadata"]["ISO_Speed"].is_number(), true);
    }
    EXPECT_EQ(rows[2]["timecode"], "10:01:00:02");  // two frame numbers dropped at the minute
}

}  // namespace

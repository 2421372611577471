// qvclip frames --json: each row holds the index entry and sizes that the synthesizer wrote for
// that edit unit (the digests are compared with ffmpeg's in the oracle test); --from and --count
// choose the rows.
#include <gtest/gtest.h>

#include "QvclipRun.h"

namespace {

TEST(FramesCommand, RowsMatchTheWrittenPackages) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "FRAMES01", 9);
    const qvtest::QvclipResult run = qvtest::RunQvclip(dir, "frames --json " + clip.paths[0]);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::vector<nlohmann::json> rows = run.JsonLines();
    ASSERT_EQ(rows.size(), clip.packages.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        const synth::SynthPackage& written = clip.packages[i];
        const nlohmann::json& row = rows[i];
        EXPECT_EQ(row["frame"], i);
        EXPECT_EQ(row["temporalOffset"], written.entry.temporalOffset);
        EXPECT_EQ(row["keyFrameOffset"], written.entry.keyFrameOffset);
        EXPECT_EQ(row["flags"], written.entry.flags);
        EXPECT_EQ(row["keyFrame"], i + written.entry.keyFrameOffset);
        EXPECT_EQ(row["sizes"]["picture"], written.picture.size);
        ASSERT_EQ(row["sizes"]["sound"].size(), written.sound.size());
        for (size_t s = 0; s < written.sound.size(); ++s)
            EXPECT_EQ(row["sizes"]["sound"][s], written.sound[s].size);
        EXPECT_FALSE(row.contains("md5"));
    }

    const auto chosen =
        qvtest::RunQvclip(dir, "frames --json --from 4 --count 9 " + clip.paths[0]).JsonLines();
    ASSERT_EQ(chosen.size(), 5u);  // cut at the clip's end
    EXPECT_EQ(chosen[0], rows[4]);
}

}  // namespace

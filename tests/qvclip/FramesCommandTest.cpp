// qvclip frames --md5 --json: each row holds the index entry, sizes and digests that the
// synthesizer wrote for that edit unit; --from and --count choose the rows.
#include <gtest/gtest.h>

#include "QvclipRun.h"

namespace {

TEST(FramesCommand, RowsMatchTheWrittenPackages) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "FRAMES01", 9);
    const qvtest::QvclipResult run = qvtest::RunQvclip(dir, "frames --md5 --json " + clip.paths[0]);
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
        EXPECT_EQ(row["md5"]["picture"], written.picture.md5);
        ASSERT_EQ(row["sizes"]["sound"].size(), written.sound.size());
        for (size_t s = 0; s < written.sound.size(); ++s) {
            EXPECT_EQ(row["sizes"]["sound"][s], written.sound[s].size);
            EXPECT_EQ(row["md5"]["sound"][s], written.sound[s].md5);
        }
    }
}

TEST(FramesCommand, FromAndCountChooseRows) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "FRAMES02", 6);
    const auto rows =
        qvtest::RunQvclip(dir, "frames --json --from 4 --count 9 " + clip.paths[0]).JsonLines();
    ASSERT_EQ(rows.size(), 2u);  // cut at the clip's end
    EXPECT_EQ(rows[0]["frame"], 4);
    EXPECT_FALSE(rows[0].contains("md5"));
}

}  // namespace

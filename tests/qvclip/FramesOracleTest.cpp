// qvclip frames --md5 gives the digests that ffmpeg's framemd5 gives for the same packets, for the
// picture stream and for each sound stream.
#include <gtest/gtest.h>

#include "QvclipRun.h"
#include "support/Oracle.h"

namespace {

class FramesOracle : public testing::Test {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffmpeg"}); }
};

TEST_F(FramesOracle, DigestsEqualFfmpegFrameMd5) {
    qvtest::TempDirectory dir;
    const std::string path = qvtest::SmallClip(dir, "ORACLE01", 10).paths[0];
    const qvtest::QvclipResult run = qvtest::RunQvclip(dir, "frames --md5 --json " + path);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::vector<nlohmann::json> rows = run.JsonLines();

    std::vector<std::string> picture;
    std::vector<std::vector<std::string>> sound(2);
    for (const nlohmann::json& row : rows) {
        picture.push_back(row["md5"]["picture"]);
        ASSERT_EQ(row["md5"]["sound"].size(), sound.size());
        for (size_t s = 0; s < sound.size(); ++s) sound[s].push_back(row["md5"]["sound"][s]);
    }
    EXPECT_EQ(picture, qvtest::FrameMD5s(path, "v"));
    for (size_t s = 0; s < sound.size(); ++s)
        EXPECT_EQ(sound[s], qvtest::FrameMD5s(path, "a:" + std::to_string(s))) << "sound " << s;
}

}  // namespace

// qvclip info on a lone synthesized clip and on a clip of three listed members.
#include <gtest/gtest.h>

#include "QvclipRun.h"

namespace {

using qvtest::RunQvclip;

TEST(InfoCommand, LoneClipShowsWhatWasSynthesized) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "INFO0001", 7);
    const qvtest::QvclipResult run = RunQvclip(dir, "info --json " + clip.paths[0]);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const nlohmann::json info = nlohmann::json::parse(run.out);
    EXPECT_EQ(info["frameCount"], 7);
    EXPECT_EQ(info["width"], 320);
    EXPECT_EQ(info["height"], 240);
    EXPECT_EQ(info["frameRate"], nlohmann::json({25, 1}));
    EXPECT_EQ(info["audioChannels"], 2);
    EXPECT_EQ(info["audioSampleRate"], 48000);
    EXPECT_EQ(info["audioBitDepth"], 24);
    EXPECT_EQ(info["intraCoded"], false);
    EXPECT_EQ(info["containerType"], 1);
    EXPECT_EQ(info["clipVersion"], 0);
    EXPECT_EQ(info["chromaFormat"], 3);
    EXPECT_EQ(info["bitDepthCode"], 3);
    EXPECT_EQ(info["gammaType"], 1);
    EXPECT_EQ(info["colorGamut"], 0);
    EXPECT_EQ(info["files"], nlohmann::json({clip.paths[0]}));
    EXPECT_TRUE(run.err.empty());
}

TEST(InfoCommand, ListedMembersMakeOneClip) {
    qvtest::TempDirectory dir;
    std::vector<std::string> paths;
    std::string members;
    for (const auto& [name, frames] :
         {std::pair{"LIST0001", 3u}, {"LIST0002", 4u}, {"LIST0003", 5u}}) {
        paths.push_back(qvtest::SmallClip(dir, name, frames).paths[0]);
        members += " " + paths.back();
    }
    const qvtest::QvclipResult run = RunQvclip(dir, "info --json --members" + members);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const nlohmann::json info = nlohmann::json::parse(run.out);
    EXPECT_EQ(info["frameCount"], 12);
    EXPECT_EQ(info["clipVersion"], 255);
    EXPECT_EQ(info["width"], 320);
    EXPECT_EQ(info["files"], nlohmann::json(paths));
}

}  // namespace

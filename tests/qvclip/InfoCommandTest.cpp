// qvclip info on a lone synthesized clip, on a clip of three listed members, and on intra and
// long-GOP clips of either coding (the picture labels read as the synthesizer meant them).
#include <gtest/gtest.h>

#include "QvclipRun.h"

namespace {

using qvtest::RunQvclip;

TEST(InfoCommand, LoneClipShowsWhatWasSynthesized) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "INFO0001", 7);
    const qvtest::QvclipResult run = RunQvclip(dir, "info --json " + clip.paths[0]);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_TRUE(run.err.empty());
    const nlohmann::json info = nlohmann::json::parse(run.out);
    const nlohmann::json expected = {
        {"frameCount", 7},      {"width", 320},        {"height", 240},
        {"frameRate", {25, 1}}, {"audioChannels", 2},  {"audioSampleRate", 48000},
        {"audioBitDepth", 24},  {"intraCoded", false}, {"containerType", 1},
        {"clipVersion", 0},     {"chromaFormat", 3},   {"bitDepthCode", 3},
        {"gammaType", 1},       {"colorGamut", 0},     {"files", {clip.paths[0]}}};
    for (const auto& item : expected.items())
        EXPECT_EQ(info[item.key()], item.value()) << item.key();
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

TEST(InfoCommand, IntraCodingAsSynthesized) {
    qvtest::TempDirectory dir;
    for (const std::string codec : {"h264", "hevc"})
        for (const int gop : {1, 12}) {
            SCOPED_TRACE(codec + " gop " + std::to_string(gop));
            const std::string clip = qvtest::SynthClip(
                dir,
                std::string("INTR") + (gop == 1 ? "A" : "L") + (codec == "h264" ? "264" : "265"),
                "--frames 2 --channels 0 --codec " + codec + " --gop " + std::to_string(gop));
            // H.264 is read from a member list, HEVC from a lone file.
            const std::string members = codec == "h264" ? "--members " : "";
            const qvtest::QvclipResult run = RunQvclip(dir, "info --json " + members + clip);
            ASSERT_EQ(run.exitCode, 0) << run.err;
            EXPECT_EQ(nlohmann::json::parse(run.out)["intraCoded"], gop == 1);
        }
}

}  // namespace

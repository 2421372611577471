// CIFNoCIFMXFWrapper over synthesized members listed by a host clip: members that open are
// numbered one after the other, and those that do not are left out.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mxf/CIFNoCIFMXFWrapper.h"
#include "support/Md5.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace {

using namespace qvtest;

class FakeClip : public CMBXClip {
public:
    explicit FakeClip(std::vector<std::string> files) : paths(std::move(files)) {}
    bool IsFileListClip() override { return true; }
    void GetMediaFilePaths(CUSharedPtr<CUArray>* out) override {
        CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
        for (const std::string& p : paths) array->AddObject(CUCreate<CUStringWin>(p.c_str()));
        *out = array;
    }
    std::vector<std::string> paths;
};

struct Clip {
    TempDirectory dir;
    std::vector<synth::SynthResult> members;
    std::vector<std::string> paths;

    explicit Clip(std::vector<uint32_t> frames) {
        for (size_t i = 0; i < frames.size(); ++i) {
            members.push_back(synth::Synthesize({.outDir = dir.root,
                                                 .name = "MEMBER" + std::to_string(i),
                                                 .frames = frames[i],
                                                 .width = 128,
                                                 .height = 72,
                                                 .channels = 3,
                                                 .gammaCode = 15}));
            paths.push_back(members.back().paths.at(0));
        }
    }
};

// Listed members that are missing or not MXF are left out of the numbering and the file list.
TEST(CIFNoCIFMXFWrapper, NumbersFramesAcrossTheMembersThatOpen) {
    Clip clip({10, 20, 30});
    WriteFile(clip.dir.Native("JUNK.MXF"), Pattern(3000));
    const std::vector<std::string> listed = {clip.dir.Native("MISSING.MXF"), clip.paths[0],
                                             clip.dir.Native("JUNK.MXF"), clip.paths[1],
                                             clip.paths[2]};
    CUSharedPtr<CIFNoCIFMXFWrapper> w = CUCreate<CIFNoCIFMXFWrapper>();
    ASSERT_EQ(w->LoadFromClip(CUCreate<FakeClip>(listed)), 1u);

    EXPECT_EQ(w->GetFrameCount(-1), 60u);
    EXPECT_EQ(w->GetFrameCount(2), 30u);
    EXPECT_EQ(w->GetWidth(), 128u);
    EXPECT_EQ(w->GetHeight(), 72u);
    EXPECT_EQ(w->GetGammaType(), 15u);
    EXPECT_EQ(w->GetHLGColor(), 2u);
    EXPECT_EQ(w->GetAudioChannels(), 3u);
    EXPECT_EQ(w->GetLookType(), 255u);
    CUSharedPtr<CUArray> files;
    ASSERT_TRUE(w->GetFileList(files));
    ASSERT_EQ(files->Count(), 3u);
    EXPECT_EQ(CUSharedPtr<CUStringWin>(files->ObjectAtIndex(1))->UTF8String(), clip.paths[1]);

    std::vector<uint8_t> buffer(1 << 20);
    const struct {
        uint64_t frame;
        size_t member;
        uint64_t local;
    } reads[] = {{0, 0, 0}, {9, 0, 9}, {10, 1, 0}, {29, 1, 19}, {30, 2, 0}, {59, 2, 29}};
    for (const auto& r : reads) {
        SCOPED_TRACE(r.frame);
        FrameElementLayout layout;
        ASSERT_EQ(w->ReadFrame(r.frame, buffer.data(), uint32_t(buffer.size()), &layout, 1), 1);
        EXPECT_EQ(Md5Hex(buffer.data(), layout.pictureSize),
                  clip.members[r.member].packages[r.local].picture.md5);
    }
    FrameElementLayout layout;
    EXPECT_EQ(w->ReadFrame(60, buffer.data(), uint32_t(buffer.size()), &layout, 1), 0);
    EXPECT_EQ(w->GetKeyFrame(60), 60u);
}

TEST(CIFNoCIFMXFWrapper, NothingToLoadGivesZero) {
    TempDirectory dir;
    CUSharedPtr<CIFNoCIFMXFWrapper> w = CUCreate<CIFNoCIFMXFWrapper>();
    EXPECT_EQ(w->LoadFromClip(nullptr), 0u);
    EXPECT_EQ(w->LoadFromClip(CUCreate<FakeClip>(std::vector<std::string>{})), 0u);
    EXPECT_EQ(w->LoadFromClip(CUCreate<FakeClip>(std::vector{dir.Native("NONE.MXF")})), 0u);
    EXPECT_EQ(w->GetLookType(), ClipCodeUnknown);
}

}  // namespace

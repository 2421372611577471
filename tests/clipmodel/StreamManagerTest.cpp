// StreamManager: the file-name tests, the choice of wrapper by host clip, extension and name,
// the answers of an unopened manager, and forwarding with its exceptions. Real clips open through
// the manager, alone and as a host's file list, in the parser filter tests, which play them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "clipmodel/CIFWrapperBase.h"
#include "clipmodel/StreamManager.h"
#include "mxf/CIFNoCIFMXFWrapper.h"
#include "mxf/MXFWrapper.h"
#include "support/TestFiles.h"

namespace {

using namespace qvtest;

// A stem of `length` characters 'A' with the given characters set, and `extension` behind it.
std::string Name(uint32_t length, std::vector<std::pair<uint32_t, char>> marks,
                 const std::string& extension = ".MXF") {
    std::string stem(length, 'A');
    for (auto [index, c] : marks) stem.at(index) = c;
    return stem + extension;
}

struct ShapeCase {
    const char* label;
    std::string name;
    ClipNameShape expected;
};

std::vector<ShapeCase> ShapeCases() {
    using S = ClipNameShape;
    const std::vector<std::pair<uint32_t, char>> v200 = {{8, '_'}, {17, '_'}};
    const std::vector<std::pair<uint32_t, char>> v300 = {{8, 'H'}, {17, '_'}};
    auto with = [](std::vector<std::pair<uint32_t, char>> marks, uint32_t index, char c) {
        marks.push_back({index, c});
        return marks;
    };
    return {
        {"V200_23", Name(23, v200), S::V200},
        {"V200_26", Name(26, with(v200, 23, '_')), S::V200},
        {"V200_26_No23", Name(26, v200), S::None},
        {"V200_31", Name(31, with(v200, 25, '_')), S::V200},
        {"V200_31_Only23", Name(31, with(v200, 23, '_')), S::None},
        {"V200_No17", Name(23, {{8, '_'}}), S::None},
        {"V200_InFolder", "/clips/A_B/" + Name(23, v200), S::V200},
        {"V300_23", Name(23, v300), S::V300},
        {"V300_SmallH", Name(23, {{8, 'h'}, {17, '_'}}), S::None},
        {"V300_25_No23", Name(25, v300), S::None},
        {"AVC_32", Name(32, {{17, '_'}, {26, '_'}}), S::V300AVC},
        {"AVC_32_C", Name(32, {{17, 'C'}, {26, '_'}}), S::V300AVC},
        {"AVC_32_SmallC", Name(32, {{17, 'c'}, {26, '_'}}), S::None},
        {"AVC_36", Name(36, {{17, '_'}, {26, '_'}, {32, '_'}}), S::V300AVC},
        {"AVC_38_No32", Name(38, {{17, '_'}, {26, '_'}}), S::None},
        {"Stem24", Name(24, {{8, '_'}, {17, '_'}, {23, '_'}}), S::None},
        {"SmallExtension", Name(23, v200, ".mxf"), S::None},
        {"OtherExtension", Name(23, v200, ".MP4"), S::None},
        {"BareExtension", ".MXF", S::None},
        {"TooShort", "MXF", S::None},
    };
}

class NameShape : public ::testing::TestWithParam<ShapeCase> {};

TEST_P(NameShape, DecidesByLengthAndCharacters) {
    EXPECT_EQ(StreamManager::ShapeOfName(CUStringWin(GetParam().name.c_str())), GetParam().expected)
        << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(Names, NameShape, ::testing::ValuesIn(ShapeCases()),
                         [](const auto& info) { return std::string(info.param.label); });

class FakeClip : public CMBXClip {
public:
    FakeClip(bool list, std::vector<std::string> files) : fileList(list), paths(std::move(files)) {}
    bool IsFileListClip() override { return fileList; }
    void GetMediaFilePaths(CUSharedPtr<CUArray>* out) override {
        CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
        for (const std::string& p : paths) array->AddObject(CUCreate<CUStringWin>(p.c_str()));
        *out = array;
    }
    bool fileList;
    std::vector<std::string> paths;
};

enum class Held { None, FileList, LoneMXF };

struct ChoiceCase {
    const char* label;
    bool fileList;
    std::string name;
    uint32_t clipVersion;
    Held held;
};

// Files that do not exist: every branch fails to load, and the branch shows in what was set. One
// row for each branch: the extension is compared without case, the name shapes with case.
std::vector<ChoiceCase> ChoiceCases() {
    return {
        {"ListMXF", true, "clip.mxf", ClipVersionFileList, Held::FileList},
        {"ListOther", true, "CLIP.MP4", ClipVersionNone, Held::None},
        {"CIF", false, "clip.cif", ClipVersionCIF1, Held::None},
        // No INDEX.MIF beside these: the load fails and the file does not open alone.
        {"V200", false, Name(23, {{8, '_'}, {17, '_'}}), ClipVersionCIF2, Held::None},
        {"V300", false, Name(23, {{8, 'H'}, {17, '_'}}), ClipVersionCIF3, Held::None},
        {"V300AVC", false, Name(32, {{17, 'C'}, {26, '_'}}), ClipVersionCIF3AVC, Held::None},
        {"V300ShapeSmallMXF", false, Name(23, {{8, 'H'}, {17, '_'}}, ".mxf"), ClipVersionNone,
         Held::LoneMXF},
        {"Other", false, "clip.mp4", ClipVersionNone, Held::None},
    };
}

class OpenChoice : public ::testing::TestWithParam<ChoiceCase> {};

TEST_P(OpenChoice, PicksTheWrapperByTheTable) {
    const ChoiceCase& c = GetParam();
    TempDirectory dir;
    StreamManager manager;
    EXPECT_EQ(
        manager.Open(dir.Path(c.name), CUCreate<FakeClip>(c.fileList, std::vector<std::string>{})),
        0u);
    EXPECT_EQ(manager.clipVersion, c.clipVersion);
    EXPECT_EQ(CUSharedPtr<CIFNoCIFMXFWrapper>(manager.cifWrapper) != nullptr,
              c.held == Held::FileList);
    EXPECT_EQ(manager.mxfWrapper != nullptr, c.held == Held::LoneMXF);
    EXPECT_FALSE(manager.mp4Wrapper);
}

INSTANTIATE_TEST_SUITE_P(Table, OpenChoice, ::testing::ValuesIn(ChoiceCases()),
                         [](const auto& info) { return std::string(info.param.label); });

// Nothing held: every kind of answer falls back without reaching a wrapper.
TEST(StreamManager, NullArgumentsDoNotOpenAndUnopenedAnswersFallBack) {
    StreamManager manager;
    EXPECT_EQ(manager.Open(nullptr, CUCreate<FakeClip>(false, std::vector<std::string>{})), 0u);
    EXPECT_EQ(manager.Open(CUCreate<CUStringWin>("clip.MXF"), nullptr), 0u);
    EXPECT_FALSE(manager.path);
    manager.Close();
    CUSharedPtr<CUArray> list = CUCreate<CUArray>();
    EXPECT_FALSE(manager.GetFileList(list));
    std::pair<uint32_t, uint32_t> rate{25, 1};
    EXPECT_EQ(manager.GetFrameRate(rate), (std::pair<uint32_t, uint32_t>{0, 0}));
    EXPECT_EQ(manager.GetFrameCount(-1), 0u);
    EXPECT_EQ(manager.GetChromaFormat(), ClipCodeUnknown);
    uint64_t found = 0;
    EXPECT_FALSE(manager.FindRandomAccessFrame(0, &found));
    uint8_t buffer[8];
    FrameElementLayout layout;
    layout.pictureSize = 9;
    EXPECT_EQ(manager.ReadFrame(0, buffer, sizeof buffer, &layout, ClipElementPicture), 0);
    EXPECT_EQ(layout.pictureSize, 0u);
    uint8_t a = 0, b = 0, flags = 0;
    EXPECT_EQ(manager.GetIndexEntry(0, &a, &b, &flags), 0);
}

// A wrapper with set facts; its file list may be made an immutable array.
class FactsWrapper : public CIFWrapperBase {
public:
    bool LoadClipInfo() override { return true; }
    CUSharedPtr<CUArray>& GetFileList(CUSharedPtr<CUArray>& out) override {
        if (!immutableList) return CIFWrapperBase::GetFileList(out);
        out = CUCreate<CUArray>();
        return out;
    }
    bool immutableList = false;
};

TEST(StreamManager, ForwardsToTheCIFWrapperFirstAndCapsChannels) {
    StreamManager manager;
    CUSharedPtr<FactsWrapper> facts = CUCreate<FactsWrapper>();
    facts->audioChannels = 8;
    facts->width = 320;
    facts->chromaFormat = ClipChroma422;
    facts->bitDepthCode = ClipBitDepth10;
    facts->filePaths->AddObject(CUCreate<CUStringWin>("a.MXF"));
    manager.cifWrapper = facts;
    manager.mxfWrapper = CUCreate<MXFWrapper>();  // never opened: would answer 0

    EXPECT_EQ(manager.GetAudioChannels(), 4u);
    facts->audioChannels = 3;
    EXPECT_EQ(manager.GetAudioChannels(), 3u);
    EXPECT_EQ(manager.GetWidth(), 320u);
    EXPECT_EQ(manager.GetChromaFormat(), ClipChroma422);
    EXPECT_EQ(manager.GetBitDepthCode(), ClipBitDepth10);
    EXPECT_EQ(manager.GetLookType(), ClipCodeUnknown);

    CUSharedPtr<CUArray> list;
    ASSERT_TRUE(manager.GetFileList(list));
    EXPECT_EQ(list->Count(), 1u);
    facts->immutableList = true;
    EXPECT_FALSE(manager.GetFileList(list));
    facts->immutableList = false;

    manager.Close();
    ASSERT_TRUE(manager.GetFileList(list));
    EXPECT_EQ(list->Count(), 0u);
}

}  // namespace

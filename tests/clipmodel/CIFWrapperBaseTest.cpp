// CIFWrapperBase numbers frames across members by each member's own count, and maps the frame
// searches back to clip numbers; TimecodeInfo orders and prints timecodes.
#include <gtest/gtest.h>

#include <vector>

#include "clipmodel/CIFWrapperBase.h"
#include "clipmodel/TimecodeInfo.h"

namespace {

constexpr uint8_t kIntra = 0x00;
constexpr uint8_t kForward = 0x20;  // decodable unless only intra frames will do
constexpr uint8_t kBidirectional = 0x30;
constexpr uint8_t kRandomAccess = 0xC0;
constexpr uint64_t kGop = 10;

// A member clip whose index flags are given frame by frame; key frames every kGop frames.
class FakeMember : public ICVCProp, public CUObject {
public:
    explicit FakeMember(std::vector<uint8_t> frameFlags) : flags(std::move(frameFlags)) {}

    void Close() override {}
    CUSharedPtr<CUArray>& GetFileList(CUSharedPtr<CUArray>& out) override { return out; }
    uint64_t GetFrameCount(int64_t) override { return flags.size(); }
    uint32_t GetWidth() override { return 0; }
    uint32_t GetHeight() override { return 0; }
    std::pair<uint32_t, uint32_t>& GetFrameRate(std::pair<uint32_t, uint32_t>& out) override {
        return out;
    }
    uint32_t GetColorGamut() override { return 0; }
    uint32_t GetGammaType() override { return 0; }
    uint32_t GetHLGColor() override { return 0; }
    uint32_t GetLookType() override { return 0; }
    uint32_t GetAudioChannels() override { return 0; }
    uint32_t GetAudioSampleRate() override { return 0; }
    uint32_t GetAudioBitDepth() override { return 0; }
    bool IsIntraCoded() override { return false; }
    uint32_t GetContainerType() override { return 0; }
    uint32_t GetCodecTag() override { return 0; }
    uint64_t GetKeyFrame(uint64_t frame) override { return frame - frame % kGop; }
    bool FindDecodableFrame(uint64_t frame, bool intraOnly, uint64_t* found) override {
        for (*found = frame; *found < flags.size(); ++*found) {
            const uint8_t kind = flags[*found] & ClipIndexPredictionMask;
            if (kind == kIntra || (kind == kForward && !intraOnly)) return true;
        }
        return false;
    }
    bool FindRandomAccessFrame(uint64_t frame, uint64_t* found) override {
        for (*found = frame; *found < flags.size(); ++*found) {
            if ((flags[*found] & kRandomAccess) == kRandomAccess) return true;
        }
        return false;
    }
    // Records which local frame was read in the picture size.
    uint8_t ReadFrame(uint64_t frame, uint8_t*, uint32_t, FrameElementLayout* layout,
                      uint32_t) override {
        if (frame >= flags.size()) return 0;
        layout->pictureSize = frame + 1;
        return 1;
    }
    int32_t GetIndexEntry(uint32_t frame, uint8_t*, uint8_t*, uint8_t* out) override {
        if (frame >= flags.size()) return 0;
        *out = flags[frame];
        return 1;
    }

    std::vector<uint8_t> flags;
};

class TestWrapper : public CIFWrapperBase {
public:
    bool LoadClipInfo() override { return true; }
    void Add(std::vector<uint8_t> flags) {
        filePaths->AddObject(CUCreate<CUStringWin>("member.MXF"));
        members->AddObject(CUCreate<FakeMember>(std::move(flags)));
    }
};

// Two members of 100 frames. Member 0: random access and intra at 0, only bidirectional frames
// from 91 on. Member 1: random access at 0, a forward frame at 5, intra at 7, bidirectional
// frames from 195 on.
CUSharedPtr<TestWrapper> TwoMembers() {
    std::vector<uint8_t> first(100, kForward);
    first[0] = kRandomAccess | kIntra;
    for (size_t i = 91; i < 100; ++i) first[i] = kBidirectional;
    std::vector<uint8_t> second(100, kBidirectional);
    second[0] = kRandomAccess | kIntra;
    second[5] = kForward;
    second[7] = kIntra;
    for (size_t i = 8; i < 95; ++i) second[i] = kForward;
    CUSharedPtr<TestWrapper> wrapper = CUCreate<TestWrapper>();
    wrapper->Add(first);
    wrapper->Add(second);
    wrapper->frameCount = 250;  // clip information may promise more than the members hold
    return wrapper;
}

struct MemberCase {
    uint32_t frame;
    bool found;
    uint64_t member;
    uint32_t local;
};

class FindMemberTest : public ::testing::TestWithParam<MemberCase> {};

TEST_P(FindMemberTest, NumbersFramesAcrossMembers) {
    const MemberCase c = GetParam();
    uint64_t member = 99;
    uint32_t local = 99;
    ASSERT_EQ(TwoMembers()->FindMember(c.frame, &member, &local), c.found);
    if (!c.found) return;
    EXPECT_EQ(member, c.member);
    EXPECT_EQ(local, c.local);
}

INSTANTIATE_TEST_SUITE_P(Frames, FindMemberTest,
                         ::testing::Values(MemberCase{0, true, 0, 0}, MemberCase{99, true, 0, 99},
                                           MemberCase{100, true, 1, 0},
                                           MemberCase{199, true, 1, 99},
                                           MemberCase{200, false, 0, 0},
                                           MemberCase{0xFFFFFFFF, false, 0, 0}));

TEST(CIFWrapperBase, NoMembersFindNothing) {
    TestWrapper empty;
    uint64_t member = 0;
    uint32_t local = 0;
    EXPECT_FALSE(empty.FindMember(0, &member, &local));
    EXPECT_EQ(empty.GetKeyFrame(7), 7u);
}

TEST(CIFWrapperBase, FrameCountOfClipAndMembers) {
    CUSharedPtr<TestWrapper> wrapper = TwoMembers();
    EXPECT_EQ(wrapper->GetFrameCount(-1), 250u);
    EXPECT_EQ(wrapper->GetFrameCount(1), 100u);
    EXPECT_EQ(wrapper->GetFrameCount(2), 0u);
    EXPECT_EQ(wrapper->GetFrameCount(-2), 0u);
}

struct SearchCase {
    uint64_t frame;
    bool intraOnly;
    bool result;
    uint64_t found;
};

class FindDecodableTest : public ::testing::TestWithParam<SearchCase> {};

TEST_P(FindDecodableTest, MapsTheMemberAnswerToClipFrames) {
    const SearchCase c = GetParam();
    uint64_t found = 12345;
    EXPECT_EQ(TwoMembers()->FindDecodableFrame(c.frame, c.intraOnly, &found), c.result);
    if (c.result) {
        EXPECT_EQ(found, c.found);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Frames, FindDecodableTest,
    ::testing::Values(SearchCase{10, false, true, 10},
                      // Member 0 has nothing decodable left: the next member's first frame.
                      SearchCase{95, false, true, 100}, SearchCase{12, true, true, 100},
                      SearchCase{105, false, true, 105}, SearchCase{105, true, true, 107},
                      // The last member's end: one past the clip's frames.
                      SearchCase{196, false, true, 200}, SearchCase{200, false, false, 0}));

TEST(CIFWrapperBase, RandomAccessAndKeyFramesMapAcrossMembers) {
    CUSharedPtr<TestWrapper> wrapper = TwoMembers();
    for (auto [from, expected] : {std::pair<uint64_t, uint64_t>{0, 0}, {1, 100}, {101, 200}}) {
        uint64_t found = 0;
        EXPECT_TRUE(wrapper->FindRandomAccessFrame(from, &found));
        EXPECT_EQ(found, expected) << from;
    }
    uint64_t found = 0;
    EXPECT_FALSE(wrapper->FindRandomAccessFrame(200, &found));
    for (auto [frame, key] : {std::pair<uint64_t, uint64_t>{15, 10},
                              {115, 110},
                              {200, 200},
                              {uint64_t{1} << 40, uint64_t{1} << 40}})
        EXPECT_EQ(wrapper->GetKeyFrame(frame), key);
}

TEST(CIFWrapperBase, ReadFrameReachesTheMemberAndZeroesTheLayout) {
    CUSharedPtr<TestWrapper> wrapper = TwoMembers();
    uint8_t buffer[16] = {};
    FrameElementLayout layout;
    layout.systemSize = 77;
    EXPECT_EQ(wrapper->ReadFrame(150, nullptr, sizeof buffer, &layout, ClipElementPicture), 0);
    EXPECT_EQ(layout.systemSize, 0u);
    EXPECT_EQ(wrapper->ReadFrame(150, buffer, 0, &layout, ClipElementPicture), 0);
    EXPECT_EQ(wrapper->ReadFrame(200, buffer, sizeof buffer, &layout, ClipElementPicture), 0);

    EXPECT_EQ(wrapper->ReadFrame(150, buffer, sizeof buffer, &layout, ClipElementPicture), 1);
    EXPECT_EQ(layout.pictureSize, 51u);  // local frame 50 of member 1

    uint8_t temporal = 0, key = 0, flags = 0;
    EXPECT_EQ(wrapper->GetIndexEntry(107, &temporal, &key, &flags), 1);
    EXPECT_EQ(flags, kIntra);
    EXPECT_EQ(wrapper->GetIndexEntry(100, &temporal, &key, &flags), 1);
    EXPECT_EQ(flags, kRandomAccess);
    EXPECT_EQ(wrapper->GetIndexEntry(200, &temporal, &key, &flags), 0);
}

TEST(CIFWrapperBase, CloseDropsThePathsAndKeepsTheMembers) {
    CUSharedPtr<TestWrapper> wrapper = TwoMembers();
    wrapper->Close();
    CUSharedPtr<CUArray> list;
    ASSERT_TRUE(wrapper->GetFileList(list));
    EXPECT_EQ(list->Count(), 0u);
    uint8_t buffer[16] = {};
    FrameElementLayout layout;
    EXPECT_EQ(wrapper->ReadFrame(199, buffer, sizeof buffer, &layout, ClipElementPicture), 1);
    EXPECT_EQ(layout.pictureSize, 100u);
}

TimecodeInfo Timecode(uint8_t h, uint8_t m, uint8_t s, uint8_t f, uint8_t dropFrame = 0) {
    TimecodeInfo t;
    t.hours = h, t.minutes = m, t.seconds = s, t.frames = f, t.dropFrame = dropFrame;
    return t;
}

struct OrderCase {
    TimecodeInfo lower, higher;
};

class TimecodeOrder : public ::testing::TestWithParam<OrderCase> {};

TEST_P(TimecodeOrder, EarlierFieldsDecide) {
    const OrderCase& c = GetParam();
    EXPECT_TRUE(c.lower.IsLess(c.higher));
    EXPECT_FALSE(c.higher.IsLess(c.lower));
}

INSTANTIATE_TEST_SUITE_P(Fields, TimecodeOrder,
                         ::testing::Values(OrderCase{Timecode(0, 59, 59, 29), Timecode(1, 0, 0, 0)},
                                           OrderCase{Timecode(2, 3, 59, 29), Timecode(2, 4, 0, 0)},
                                           OrderCase{Timecode(2, 3, 4, 29), Timecode(2, 3, 5, 0)},
                                           OrderCase{Timecode(2, 3, 4, 5, 1),
                                                     Timecode(2, 3, 4, 6, 0)}));

TEST(TimecodeInfo, EqualTimesAreNotLessWhateverTheirFlagsAndDates) {
    EXPECT_FALSE(Timecode(1, 2, 3, 4, 1).IsLess(Timecode(1, 2, 3, 4, 0)));
    EXPECT_FALSE(Timecode(1, 2, 3, 4, 0).IsLess(Timecode(1, 2, 3, 4, 1)));
    TimecodeInfoEX early, late;
    early.year = 2020;
    late.year = 2024;
    late.colorFrame = 1;
    EXPECT_FALSE(early.IsLess(late));
    EXPECT_FALSE(late.IsLess(early));
}

TEST(TimecodeInfo, DescriptionIsUnpadded) {
    EXPECT_EQ(Timecode(1, 2, 3, 4).Description()->UTF8String(), "1:2:3:4");
    EXPECT_EQ(Timecode(23, 0, 59, 29, 1).Description()->UTF8String(), "23:0:59:29 DF");
    TimecodeInfoEX ex;
    ex.hours = 255;
    EXPECT_EQ(ex.Description()->UTF8String(), "255:0:0:0");
}

}  // namespace

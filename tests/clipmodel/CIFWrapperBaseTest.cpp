// CIFWrapperBase numbers frames across members by each member's own count, and maps the frame
// searches back to clip numbers; TimecodeInfo orders and prints timecodes. The numbering over
// real members is checked picture by picture in the CIFNoCIFMXFWrapper tests.
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

// A member clip whose index flags are given frame by frame; key frames every kGop frames. The
// base answers the facts, which no case here asks for.
class FakeMember : public CIFWrapperBase {
public:
    explicit FakeMember(std::vector<uint8_t> frameFlags) : flags(std::move(frameFlags)) {}

    bool LoadClipInfo() override { return true; }
    uint64_t GetFrameCount(int64_t) override { return flags.size(); }
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

TEST(CIFWrapperBase, FrameCountsOfClipAndMembersAndAnEmptyClip) {
    CUSharedPtr<TestWrapper> wrapper = TwoMembers();
    EXPECT_EQ(wrapper->GetFrameCount(-1), 250u);
    EXPECT_EQ(wrapper->GetFrameCount(1), 100u);
    EXPECT_EQ(wrapper->GetFrameCount(2), 0u);
    EXPECT_EQ(wrapper->GetFrameCount(-2), 0u);
    TestWrapper empty;
    uint64_t member = 0;
    uint32_t local = 0;
    EXPECT_FALSE(empty.FindMember(0, &member, &local));
    EXPECT_EQ(empty.GetKeyFrame(7), 7u);
}

TEST(CIFWrapperBase, DecodableFramesMapTheMemberAnswerToClipFrames) {
    const struct {
        uint64_t frame;
        bool intraOnly, result;
        uint64_t found;
    } cases[] = {{10, false, true, 10},
                 // Member 0 has nothing decodable left: the next member's first frame.
                 {95, false, true, 100},
                 {12, true, true, 100},
                 {105, false, true, 105},
                 {105, true, true, 107},
                 // The last member's end: one past the clip's frames.
                 {196, false, true, 200},
                 {200, false, false, 12345}};
    CUSharedPtr<TestWrapper> wrapper = TwoMembers();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.frame);
        uint64_t found = 12345;
        EXPECT_EQ(wrapper->FindDecodableFrame(c.frame, c.intraOnly, &found), c.result);
        EXPECT_EQ(found, c.found);
    }
}

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
    EXPECT_EQ(wrapper->ReadFrame(0xFFFFFFFF, buffer, sizeof buffer, &layout, 1), 0);

    // Closing drops the paths only: the members stay readable.
    wrapper->Close();
    CUSharedPtr<CUArray> list;
    ASSERT_TRUE(wrapper->GetFileList(list));
    EXPECT_EQ(list->Count(), 0u);
    for (auto [frame, local] : {std::pair<uint64_t, uint32_t>{99, 99}, {100, 0}, {199, 99}}) {
        EXPECT_EQ(wrapper->ReadFrame(frame, buffer, sizeof buffer, &layout, ClipElementPicture), 1);
        EXPECT_EQ(layout.pictureSize, local + 1u) << frame;
    }

    uint8_t temporal = 0, key = 0, flags = 0;
    EXPECT_EQ(wrapper->GetIndexEntry(107, &temporal, &key, &flags), 1);
    EXPECT_EQ(flags, kIntra);
    EXPECT_EQ(wrapper->GetIndexEntry(100, &temporal, &key, &flags), 1);
    EXPECT_EQ(flags, kRandomAccess);
    EXPECT_EQ(wrapper->GetIndexEntry(200, &temporal, &key, &flags), 0);
}

TimecodeInfo Timecode(uint8_t h, uint8_t m, uint8_t s, uint8_t f, uint8_t dropFrame = 0) {
    TimecodeInfo t;
    t.hours = h, t.minutes = m, t.seconds = s, t.frames = f, t.dropFrame = dropFrame;
    return t;
}

TEST(TimecodeInfo, EarlierFieldsDecideAndFlagsAndDatesDoNot) {
    for (const auto& [lower, higher] : {std::pair{Timecode(0, 59, 59, 29), Timecode(1, 0, 0, 0)},
                                        {Timecode(2, 3, 59, 29), Timecode(2, 4, 0, 0)},
                                        {Timecode(2, 3, 4, 29), Timecode(2, 3, 5, 0)},
                                        {Timecode(2, 3, 4, 5, 1), Timecode(2, 3, 4, 6, 0)}}) {
        SCOPED_TRACE(lower.Description()->UTF8String());
        EXPECT_TRUE(lower.IsLess(higher));
        EXPECT_FALSE(higher.IsLess(lower));
    }
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
    EXPECT_EQ(Timecode(23, 0, 59, 29, 1).Description()->UTF8String(), "23:0:59:29 DF");
    TimecodeInfoEX ex;
    ex.hours = 255;
    EXPECT_EQ(ex.Description()->UTF8String(), "255:0:0:0");
}

}  // namespace

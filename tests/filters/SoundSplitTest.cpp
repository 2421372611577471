// The splitter's arithmetic on plain buffers: fold-down by roles, peak levels, and the lengths and
// formats it must refuse without touching memory it was not given. (Means of several channels and
// both sides from one, over real tracks: qvclip's sound oracle test.)
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "filters/SoundSplit.h"

using namespace sound_split;

namespace {

// Samples as little-endian bytes of `bits` / 8 each.
std::vector<uint8_t> Pack(const std::vector<int32_t>& samples, uint32_t bits) {
    std::vector<uint8_t> bytes;
    for (const int32_t sample : samples) {
        for (uint32_t b = 0; b < bits / 8; ++b)
            bytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(sample) >> (8 * b)));
    }
    return bytes;
}

struct SplitCase {
    std::string name;
    uint32_t bits;
    std::vector<uint32_t> roles;  // one per channel
    std::vector<int32_t> input;   // interleaved frames
    std::vector<uint8_t> tail;    // raw bytes after the frames
    std::vector<int32_t> stereo;  // left, right, ...
    std::vector<int16_t> levels;
};

void PrintTo(const SplitCase& c, std::ostream* os) {
    *os << c.name;
}

class SplitTable : public testing::TestWithParam<SplitCase> {};

TEST_P(SplitTable, FoldsAndMeasures) {
    const SplitCase& c = GetParam();
    const auto channels = static_cast<uint32_t>(c.roles.size());
    std::vector<uint8_t> input = Pack(c.input, c.bits);
    input.insert(input.end(), c.tail.begin(), c.tail.end());
    // Exactly sized buffers, pre-filled, so that the sanitizer sees any stray access.
    std::vector<uint8_t> stereo(StereoLength(input.size(), channels), 0xAB);
    std::vector<int16_t> levels(channels, 1234);
    ASSERT_TRUE(SplitAndMeasure(input, channels, c.bits, c.roles, stereo, levels));
    std::vector<uint8_t> expected = Pack(c.stereo, c.bits);
    expected.resize(stereo.size(), 0);  // a partial frame's place stays zero
    EXPECT_EQ(stereo, expected);
    EXPECT_EQ(levels, c.levels);
}

constexpr int32_t kMax24 = 8388607;
constexpr int32_t kMin24 = -8388608;

INSTANTIATE_TEST_SUITE_P(
    Sound, SplitTable,
    testing::Values(
        // The levels do not depend on the roles: channels 2 and 3 feed nothing and still measure.
        SplitCase{"FourChannels24BitRoles1200",
                  24,
                  {1, 2, 0, 0},
                  {100, -200, kMax24, kMin24, -1, 5, 0, 0},
                  {},
                  {100, -200, -1, 5},
                  {-6000, -6000, 0, 0}},
        SplitCase{"UnknownRoleFeedsNothing", 16, {7, 2}, {5, -9}, {}, {0, -9}, {-6000, -6000}},
        // -32768 and 32767 are full scale; a peak of 1 falls through the floor; 16384 is -602.03.
        SplitCase{"AllRolesZeroStillMeasured",
                  16,
                  {0, 0, 0, 0},
                  {-32768, 32767, 1, 16384},
                  {},
                  {0, 0},
                  {0, 0, -6000, -602}},
        // The ones' complement magnitude: -1 reads as 0, silence.
        SplitCase{"MinusOneIsSilence", 16, {1, 2}, {-1, -2}, {}, {-1, -2}, {-6000, -6000}},
        SplitCase{"EmptySample", 16, {1, 2}, {}, {}, {}, {-6000, -6000}},
        // 6 bytes of 16-bit stereo: one frame and half of another, which is not read.
        SplitCase{"TrailingPartialFrame",
                  16,
                  {1, 2},
                  {300, -300},
                  {0xFF, 0x7F},
                  {300, -300},
                  {-4076, -4079}},
        SplitCase{"PartialFrame24Bit", 24, {2, 1}, {}, {1, 2, 3, 4, 5}, {}, {-6000, -6000}}),
    [](const testing::TestParamInfo<SplitCase>& info) { return info.param.name; });

TEST(SoundSplit, RefusesWhatItCannotDoWithoutWriting) {
    const std::vector<uint8_t> input = Pack({1, 2, 3, 4}, 16);
    const std::vector<uint32_t> roles{1, 2};
    std::vector<uint8_t> stereo(StereoLength(input.size(), 2), 0xAB);
    std::vector<int16_t> levels(2, 77);
    for (const uint32_t bits : {0u, 8u, 12u, 20u, 32u, 64u})
        EXPECT_FALSE(SplitAndMeasure(input, 2, bits, roles, stereo, levels)) << bits;
    EXPECT_FALSE(SplitAndMeasure(input, 0, 16, roles, stereo, levels));
    EXPECT_FALSE(SplitAndMeasure(input, 2, 16, std::span(roles).first(1), stereo, levels));
    EXPECT_FALSE(
        SplitAndMeasure(input, 2, 16, roles, std::span(stereo).first(stereo.size() - 1), levels));
    EXPECT_FALSE(SplitAndMeasure(input, 2, 16, roles, stereo, std::span(levels).first(1)));
    EXPECT_EQ(stereo, std::vector<uint8_t>(stereo.size(), 0xAB));
    EXPECT_EQ(levels, std::vector<int16_t>(2, 77));
}

// The widest format a wave header can state: 65535 full-scale 24-bit channels on the left sum to
// far more than 32 bits hold, and their mean is still full scale.
TEST(SoundSplit, SumsOfEveryChannelCountFit) {
    constexpr uint32_t kChannels = 65535;
    const std::vector<uint8_t> input = Pack(std::vector<int32_t>(kChannels, kMax24), 24);
    std::vector<uint32_t> roles(kChannels, kRoleLeft);
    roles[0] = kRoleBoth;
    std::vector<uint8_t> stereo(StereoLength(input.size(), kChannels));
    std::vector<int16_t> levels(kChannels);
    ASSERT_TRUE(SplitAndMeasure(input, kChannels, 24, roles, stereo, levels));
    ASSERT_EQ(stereo.size(), 6u);
    EXPECT_EQ(stereo, Pack({kMax24, kMax24}, 24));
    EXPECT_EQ(levels, std::vector<int16_t>(kChannels, 0));
}

TEST(SoundSplit, PeakLevelEdges) {
    EXPECT_EQ(PeakLevel(33, 32767), -5993);  // -59.93 dB: just above the floor
    EXPECT_EQ(PeakLevel(5, 0), kLevelFloor);
}

}  // namespace

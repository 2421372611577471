#include <gtest/gtest.h>

#include "support/MxfTestBytes.h"

#include <algorithm>
#include <map>
#include <utility>

#include "foundation/CUAutoLock.h"
#include "mxf/LocalSets.h"
#include "mxf/MXFError.h"

namespace {

using namespace qvtest;

// Parses `value` as the value of a local set whose key has byte 5 = `byte5`; the value stands
// behind three bytes of something else in the stream.
uint32_t ParseValue(LocalSets& set, uint8_t byte5, const std::vector<uint8_t>& value) {
    set.key = ULKey(Label({0x02, byte5, 1, 1, 0x0D, 1, 1, 1, 1, 0x01, 0x2F}).data());
    set.length = value.size();
    return set.Parse(ByteWriter().Fill(3, 0xEE).Bytes(value).Stream(), 3);
}

using Items = std::map<uint32_t, std::pair<uint32_t, uint32_t>>;  // tag: offset, length

struct SetCase {
    const char* name;
    uint8_t byte5;
    std::vector<uint8_t> value;
    uint32_t result;
    Items items;
};

void PrintTo(const SetCase& c, std::ostream* out) {
    *out << c.name;
}

class LocalSetForms : public testing::TestWithParam<SetCase> {};

TEST_P(LocalSetForms, ReadTheItemsOrFailAsAWhole) {
    const SetCase& c = GetParam();
    LocalSets set;
    ASSERT_EQ(ParseValue(set, c.byte5, c.value), c.result);
    Items items;
    for (const auto& [tag, item] : set.Items()) items[tag] = {item.offset, item.length};
    EXPECT_EQ(items, c.items);
    EXPECT_EQ(static_cast<bool>(set.GetData()), c.result == 0);
}

INSTANTIATE_TEST_SUITE_P(
    Codings, LocalSetForms,
    testing::Values(
        SetCase{"1-byte tag, BER length",
                0x03,
                {0x12, 0x81, 2, 0xAA, 0xBB, 0x34, 0},
                0,
                {{0x12, {3, 2}}, {0x34, {7, 0}}}},
        SetCase{"BER tag, 1-byte length",
                0x2B,
                {0xA4, 0x34, 2, 0xAA, 0xBB, 0x7F, 1, 0xCC},
                0,
                {{0x1234, {3, 2}}, {0x7F, {7, 1}}}},
        SetCase{"2-byte tag and length", 0x53, {0x3C, 0x0A, 0, 1, 0xAA}, 0, {{0x3C0A, {4, 1}}}},
        SetCase{"4-byte tag and length",
                0x7B,
                {0, 1, 2, 3, 0, 0, 0, 2, 0xAA, 0xBB},
                0,
                {{0x10203, {8, 2}}}},
        SetCase{"4-byte BER tag",
                0x0B,
                {0x81, 0x80, 0x80, 0x01, 0x84, 0, 0, 0, 1, 0xAA},
                0,
                {{0x200001, {9, 1}}}},
        SetCase{"BER tag longer than 4 bytes",
                0x0B,
                {0x81, 0x81, 0x81, 0x81, 0x01, 0},
                MXFErrorParse,
                {}},
        SetCase{"duplicate tag",
                0x53,
                {0x3C, 0x0A, 0, 0, 0x12, 0x34, 0, 0, 0x3C, 0x0A, 0, 0},
                MXFErrorParse,
                {}},
        SetCase{"BER length of 0x80", 0x03, {0x12, 0x80}, MXFErrorParse, {}}));

TEST(LocalSets, GetItemMovesTheSetsOwnCursor) {
    LocalSets set;
    ASSERT_EQ(ParseValue(set, 0x53,
                         LocalSetWriter().Item(0x3C0A, {1, 2}).Item(0x4801, {0, 0, 0, 7}).Data()),
              0u);
    EXPECT_EQ(set.GetTagCoding(), LocalSetTag2Bytes);
    EXPECT_EQ(set.GetLengthCoding(), LocalSetLength2Bytes);
    EXPECT_TRUE(set.IsValidKey());
    CUAutoLock guard(&set);
    CUSharedPtr<ParseMetaData> item = set.GetItem(0x4801);
    ASSERT_TRUE(item);
    uint32_t value = 0;
    ASSERT_TRUE(item->ReadUInt32(&value));
    EXPECT_EQ(value, 7u);
    EXPECT_EQ(set.GetItem(0x3C0A), item);
    EXPECT_EQ(item->GetPosition(), 4u);
    EXPECT_FALSE(set.GetItem(0x4802));
    EXPECT_EQ(set.Description()->UTF8String(), "{\n\t00003c0a = 0102\n\t00004801 = 00000007\n}");
    EXPECT_EQ(set.Parse(nullptr, 0), MXFErrorArgument);
}

// Items cut short or running past the value, and an empty value, fail the whole set.
TEST(LocalSets, ATruncatedSetParsesOnlyWhenCutBetweenItems) {
    const std::vector<uint8_t> value = LocalSetWriter()
                                           .Item(0x3C0A, std::vector<uint8_t>(16, 1))
                                           .Item(0x4B01, {0, 0, 0, 25, 0, 0, 0, 1})
                                           .Item(0x3C01, {})
                                           .Item(0x4403, {0, 0, 0, 0, 0, 0, 0, 16})
                                           .Data();
    const std::vector<size_t> boundaries = {0, 20, 32, 36};  // item ends before the last
    for (size_t cut = 0; cut < value.size(); ++cut) {
        LocalSets set;
        const uint32_t result =
            ParseValue(set, 0x53, std::vector<uint8_t>(value.begin(), value.begin() + cut));
        const auto at = std::find(boundaries.begin(), boundaries.end(), cut);
        if (cut == 0) {
            EXPECT_EQ(result, MXFErrorMemory);
        } else if (at != boundaries.end()) {
            EXPECT_EQ(result, 0u) << cut;
            EXPECT_EQ(set.ItemCount(), size_t(at - boundaries.begin())) << cut;
        } else {
            EXPECT_EQ(result, MXFErrorParse) << cut;
            EXPECT_EQ(set.ItemCount(), 0u) << cut;
        }
    }
}

}  // namespace

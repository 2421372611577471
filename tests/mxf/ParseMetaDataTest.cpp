#include <gtest/gtest.h>

#include "support/MxfTestBytes.h"

#include <optional>

#include "mxf/ParseMetaData.h"

namespace {

using namespace qvtest;

struct BERCase {
    std::vector<uint8_t> bytes;
    std::optional<uint64_t> length;  // none: the read fails
};

void PrintTo(const BERCase& c, std::ostream* out) {
    for (uint8_t b : c.bytes) *out << std::hex << int(b) << ' ';
}

class BERLength : public testing::TestWithParam<BERCase> {};

TEST_P(BERLength, DecodesUpToFourLengthBytesAndMovesOnlyOnSuccess) {
    const BERCase& c = GetParam();
    ParseMetaData parser(ByteWriter().Bytes(c.bytes).Stream());
    uint64_t length = 99;
    ASSERT_EQ(parser.ReadBERLength(&length), c.length.has_value());
    EXPECT_EQ(length, c.length.value_or(0));
    EXPECT_EQ(parser.GetPosition(), c.length ? c.bytes.size() : 0u);
}

INSTANTIATE_TEST_SUITE_P(Forms, BERLength,
                         testing::Values(BERCase{{0x7F}, 0x7F}, BERCase{{0x81, 0xFF}, 255},
                                         BERCase{{0x84, 0x00, 0x00, 0x01, 0x00}, 256},
                                         BERCase{{0x84, 0xFF, 0xFF, 0xFF, 0xFF}, 0xFFFFFFFF},
                                         BERCase{{0x80}, {}}, BERCase{{0x85, 0, 0, 0, 0, 1}, {}},
                                         BERCase{{0x88, 0, 0, 0, 0, 0, 0, 0, 1}, {}},
                                         BERCase{{0x82, 0x01}, {}}, BERCase{{}, {}}));

TEST(ParseMetaData, IntegersAreBigEndianAndAShortReadLeavesZeroAndThePosition) {
    ParseMetaData parser(ByteWriter().U32(0xFFFFFFFE).U64(0x0102030405060708).U16(7).Stream());
    int32_t i32 = 0;
    uint64_t u64 = 0;
    ASSERT_TRUE(parser.ReadInt32(&i32));
    EXPECT_EQ(i32, -2);
    ASSERT_TRUE(parser.ReadUInt64(&u64));
    EXPECT_EQ(u64, 0x0102030405060708u);
    uint32_t u32 = 5;
    EXPECT_FALSE(parser.ReadUInt32(&u32));
    EXPECT_EQ(u32, 0u);
    EXPECT_EQ(parser.GetPosition(), 12u);

    ParseMetaData none;
    EXPECT_FALSE(none.ReadUInt32(&u32));
    EXPECT_FALSE(none.ReadBytes(0));
    // A stream class that cannot read throws; the cursor answers false instead.
    ParseMetaData unreadable(CUCreate<CUStream>());
    EXPECT_FALSE(unreadable.ReadUInt8(nullptr));
    uint8_t u8 = 0;
    EXPECT_FALSE(unreadable.ReadUInt8(&u8));
}

TEST(ParseMetaData, FixedSizeValuesNeedAllTheirBytes) {
    ParseMetaData parser(
        ByteWriter().U16(2024).Bytes({5, 17, 23, 59, 58, 3}).U32(-1).U32(7).Stream());
    MXFTimestamp time;
    ASSERT_TRUE(parser.ReadTimestamp(&time));
    EXPECT_EQ(time.year, 2024);
    EXPECT_EQ(time.quarterMilliseconds, 3);
    MXFRational rate;
    ASSERT_TRUE(parser.ReadRational(&rate));
    EXPECT_EQ(rate, (MXFRational{-1, 7}));

    ParseMetaData seven(ByteWriter().Fill(7).Stream());
    EXPECT_FALSE(seven.ReadTimestamp(&time));
    EXPECT_FALSE(seven.ReadRational(&rate));
    EXPECT_EQ(seven.GetPosition(), 0u);
    EXPECT_FALSE(seven.ReadBytes(8));
    ASSERT_TRUE(seven.ReadBytes(7));
    EXPECT_EQ(seven.GetPosition(), 7u);
    EXPECT_EQ(seven.ReadBytes(0)->size(), 0u);
}

TEST(ParseMetaData, UUIDArrays) {
    const Key16 a = Label({1}), b = Label({2});
    ParseMetaData parser(ByteWriter().U32(2).U32(16).Bytes(a).Bytes(b).Stream());
    CUSharedPtr<CUMutableArray> array = parser.ReadUUIDArray();
    ASSERT_TRUE(array);
    ASSERT_EQ(array->Count(), 2u);
    EXPECT_EQ(*CUSharedPtr<MxfUUID>(array->ObjectAtIndex(1)), MxfUUID(b.data()));
    EXPECT_EQ(parser.GetPosition(), 40u);

    // Another item size gives an empty array and skips nothing.
    parser.SetStream(ByteWriter().U32(1).U32(20).Fill(20).Stream());
    ASSERT_TRUE(array = parser.ReadUUIDArray());
    EXPECT_EQ(array->Count(), 0u);
    EXPECT_EQ(parser.GetPosition(), 8u);

    // A count beyond the data or the caller's limit keeps the items that are there.
    parser.SetStream(ByteWriter().U32(0xFFFFFFFF).U32(16).Bytes(a).Bytes(b).Fill(8).Stream());
    EXPECT_EQ(parser.ReadUUIDArray()->Count(), 2u);
    parser.SetPosition(0);
    EXPECT_EQ(parser.ReadUUIDArray(8 + 16 + 15)->Count(), 1u);

    parser.SetStream(ByteWriter().U32(1).U16(16).Stream());
    EXPECT_FALSE(parser.ReadUUIDArray());
    EXPECT_EQ(parser.GetPosition(), 0u);
}

TEST(ParseMetaData, UMIDLengthFollowsByte12) {
    std::vector<uint8_t> basic(32, 0xAB), extended(64, 0xCD);
    extended[12] = 0x33;
    ParseMetaData parser(ByteWriter().Bytes(basic).Bytes(extended).Bytes(extended).Stream());
    EXPECT_EQ(parser.ReadUMID()->Length(), 32u);
    EXPECT_EQ(parser.ReadUMID()->Length(), 64u);
    EXPECT_EQ(parser.GetPosition(), 96u);
    extended.pop_back();  // the second half is short
    parser.SetStream(ByteWriter().Bytes(extended).Stream());
    EXPECT_FALSE(parser.ReadUMID());
    EXPECT_EQ(parser.GetPosition(), 0u);
}

// A packet that accepts any key and remembers where it was asked to parse.
struct ProbePacket : KLVPacket {
    bool IsValidKey() const override { return accept; }
    uint32_t Parse(const CUSharedPtr<CUStream>&, uint64_t offset) override {
        parsedAt = offset;
        return result;
    }
    bool accept = true;
    uint32_t result = 0;
    uint64_t parsedAt = 0;
};

TEST(ParseMetaData, ATripletPastTheEndIsReadButLeavesThePacketAlone) {
    ByteWriter file;
    AppendKLV(file, PrimerPackKey(), {1, 2, 3});
    ParseMetaData parser(
        ByteWriter().Bytes(file.Data()).Bytes(PrimerPackKey()).BERLength(4).Fill(3).Stream());
    KLVPacket earlier;
    ASSERT_TRUE(parser.ReadKL(&earlier));
    parser.SetPosition(file.Size());
    KLVPacket fresh;
    ASSERT_TRUE(parser.ReadKL(&fresh));
    EXPECT_EQ(fresh.GetKind(), KLVKindUnknown);
    EXPECT_EQ(parser.GetPosition(), file.Size() + 17);  // behind the length field
    parser.SetPosition(file.Size());
    ASSERT_TRUE(parser.ReadKL(&earlier));
    EXPECT_EQ(earlier.packetOffset, 0u);  // still the first triplet

    // The same triplet through ReadKLV fails, whatever the packet held, and does not move.
    ProbePacket probe;
    parser.SetPosition(file.Size());
    EXPECT_FALSE(parser.ReadKLV(&probe));
    EXPECT_EQ(parser.GetPosition(), file.Size());
    KLVPacket plain;
    parser.SetPosition(0);
    EXPECT_FALSE(parser.ReadKLV(&plain));  // a plain packet expects no key

    // A key or a length cut short fails and does not move.
    parser.SetStream(ByteWriter().Bytes(PrimerPackKey()).U8(0x83).U8(0).Stream());
    EXPECT_FALSE(parser.ReadKL(&fresh));
    EXPECT_EQ(parser.GetPosition(), 0u);
}

TEST(ParseMetaData, ReadKLVAndParseValueMoveBehindTheValueOnlyWhenParsed) {
    ByteWriter file;
    AppendKLV(file, PrimerPackKey(), {1, 2, 3});
    ParseMetaData parser(file.Fill(2).Stream());
    ProbePacket probe;
    ASSERT_TRUE(parser.ReadKLV(&probe));
    EXPECT_EQ(probe.GetKind(), KLVKindPrimerPack);
    EXPECT_EQ(probe.packetOffset, 0u);
    EXPECT_EQ(probe.length, 3u);
    EXPECT_EQ(probe.valueOffset, 21u);  // behind 16 key bytes and a 5-byte length
    EXPECT_EQ(probe.parsedAt, 21u);
    EXPECT_EQ(parser.GetPosition(), 24u);

    parser.SetPosition(0);
    probe.result = 0x131001;
    EXPECT_FALSE(parser.ReadKLV(&probe));
    EXPECT_EQ(parser.GetPosition(), 0u);
    probe.accept = false;
    probe.result = 0;
    EXPECT_FALSE(parser.ReadKLV(&probe));

    ASSERT_TRUE(parser.ReadKL(&probe));
    ASSERT_TRUE(parser.ParseValue(&probe));
    EXPECT_EQ(parser.GetPosition(), 24u);
    probe.length = 3;  // two bytes are left
    EXPECT_FALSE(parser.ParseValue(&probe));
    EXPECT_EQ(parser.GetPosition(), 24u);
}

}  // namespace

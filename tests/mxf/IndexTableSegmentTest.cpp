#include <gtest/gtest.h>

#include "mxf/BodyPartitionArray.h"
#include "mxf/IndexTableSegment.h"
#include "mxf/MXFError.h"
#include "mxf/ParseMetaData.h"
#include "mxf/support/MxfTestBytes.h"
#include "support/ByteWriter.h"

namespace {

using namespace qvtest;

Key16 IndexSegmentKey() {
    return Label({0x02, 0x53, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x10, 0x01, 0x00});
}

struct SegmentShape {
    uint8_t sliceCount = 0;
    int posTableCount = -1;  // -1: no item
    uint32_t entrySize = 11;
    int64_t start = 0;
    int64_t duration = 3;
    std::vector<std::array<uint8_t, 6>> deltas = {};  // posTableIndex, slice, elementDelta
};

// A segment whose entry n has temporal offset n, key-frame offset -n, flags 0x80 | n, stream
// offset 0x1000 * n and slice offsets 0x100 * (s + 1).
std::vector<uint8_t> SegmentValue(const SegmentShape& s) {
    LocalSetWriter set;
    set.Item(0x3F0B, ByteWriter().U32(25).U32(1).Data())
        .Item(0x3F0C, ByteWriter().U64(uint64_t(s.start)).Data())
        .Item(0x3F0D, ByteWriter().U64(uint64_t(s.duration)).Data())
        .Item(0x3F05, ByteWriter().U32(0).Data())
        .Item(0x3F06, ByteWriter().U32(1).Data())
        .Item(0x3F07, ByteWriter().U32(2).Data())
        .Item(0x3F08, {s.sliceCount});
    if (s.posTableCount >= 0) set.Item(0x3F0E, {uint8_t(s.posTableCount)});
    if (!s.deltas.empty()) {
        ByteWriter d;
        d.U32(uint32_t(s.deltas.size())).U32(6);
        for (const auto& delta : s.deltas) d.Bytes(delta);
        set.Item(0x3F09, d.Data());
    }
    ByteWriter entries;
    entries.U32(uint32_t(s.duration)).U32(s.entrySize);
    for (int64_t n = 0; n < s.duration; ++n) {
        ByteWriter e;
        e.U8(uint8_t(n)).U8(uint8_t(-n)).U8(uint8_t(0x80 | n)).U64(0x1000 * uint64_t(n));
        for (unsigned i = 0; i < s.sliceCount; ++i) e.U32(0x100 * (i + 1));
        e.Fill(s.entrySize > e.Size() ? s.entrySize - e.Size() : 0);
        entries.Bytes(e.Data());
    }
    set.Item(0x3F0A, entries.Data());
    return set.Data();
}

CUSharedPtr<IndexTableSegment> Parse(const SegmentShape& shape, uint32_t* result) {
    ByteWriter file;
    AppendKLV(file, IndexSegmentKey(), SegmentValue(shape));
    ParseMetaData reader(file.Stream());
    CUSharedPtr<IndexTableSegment> segment = CUCreate<IndexTableSegment>();
    *result = reader.ReadKLV(segment.Get()) ? 0u : 1u;
    return segment;
}

struct ParseCase {
    const char* name;
    SegmentShape shape;
    bool parses;
};

class IndexSegmentParse : public ::testing::TestWithParam<ParseCase> {};

TEST_P(IndexSegmentParse, EntrySizeMustMatchSlicesAndPositionTables) {
    uint32_t result = 0;
    CUSharedPtr<IndexTableSegment> segment = Parse(GetParam().shape, &result);
    EXPECT_EQ(result == 0, GetParam().parses);
    if (!GetParam().parses) {
        EXPECT_FALSE(segment->entryParser);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, IndexSegmentParse,
    ::testing::Values(
        ParseCase{"Plain", {.sliceCount = 0, .posTableCount = -1, .entrySize = 11}, true},
        ParseCase{
            "OneSliceNeedsFifteen", {.sliceCount = 1, .posTableCount = -1, .entrySize = 11}, false},
        ParseCase{"OneSlice", {.sliceCount = 1, .posTableCount = -1, .entrySize = 15}, true},
        ParseCase{"PositionTable", {.sliceCount = 0, .posTableCount = 1, .entrySize = 19}, true},
        ParseCase{"PositionTableTooSmall",
                  {.sliceCount = 0, .posTableCount = 1, .entrySize = 11},
                  false}),
    [](const auto& info) { return std::string(info.param.name); });

// The entries and element offsets of well-formed segments are read on every clip of
// MXFStreamRoundTripTest (slices, delta entries, several segments); here, the look-ups that a
// segment does not answer.
TEST(IndexTableSegment, LookUpsOutsideTheSegmentOrItsDeltasFail) {
    SegmentShape shape{.sliceCount = 2, .entrySize = 19, .start = 100};
    shape.deltas = {{0, 0, 0, 0, 0, 0}, {0, 3, 0, 0, 0, 1}};
    uint32_t result = 1;
    CUSharedPtr<IndexTableSegment> segment = Parse(shape, &result);
    ASSERT_EQ(result, 0u);
    uint8_t flags = 0;
    EXPECT_TRUE(segment->GetEntryFlags(102, &flags));
    EXPECT_EQ(flags, 0x82);
    EXPECT_FALSE(segment->GetEntryFlags(99, &flags));
    EXPECT_FALSE(segment->GetEntryFlags(103, &flags));
    uint64_t offset = 0;
    EXPECT_TRUE(segment->GetElementOffset(101, 1, &offset));
    EXPECT_EQ(offset, 0x1000u + 1);  // a slice above the count adds nothing
    EXPECT_FALSE(segment->GetElementOffset(101, 2, &offset));

    segment = Parse(SegmentShape{}, &result);  // no deltas: element 0 alone, at the stream offset
    EXPECT_TRUE(segment->GetElementOffset(2, 0, &offset));
    EXPECT_EQ(offset, 0x2000u);
    EXPECT_FALSE(segment->GetElementOffset(2, 1, &offset));
}

// Two partitions of 10 frames each, both offsets known.
CUSharedPtr<BodyPartitionArray> Partitions(int64_t duration) {
    CUSharedPtr<BodyPartitionArray> array = CUCreate<BodyPartitionArray>();
    array->InsertAtFront(0x100000u);
    array->InsertAtFront(0);
    for (int p = 0; p < 2; ++p) {
        uint32_t result = 1;
        CUSharedPtr<IndexTableSegment> segment =
            Parse({.start = p * duration, .duration = duration}, &result);
        EXPECT_EQ(array->AddSegment(p, 0, segment), 0u);
        EXPECT_EQ(array->AddSegment(p, 0, segment), 1u);  // a number held already
        array->entries[p].flags |=
            BodyPartitionEntry::kBodyOffsetKnown | BodyPartitionEntry::kEssenceOffsetKnown;
    }
    return array;
}

TEST(BodyPartitionArray, NeedsAFrameInASegmentKnownOffsetsAndADuration) {
    CUSharedPtr<BodyPartitionArray> array = Partitions(10);
    uint64_t partition = 9;
    uint32_t number = 9;
    EXPECT_EQ(array->FindSegment(20, &partition, &number), 0u);
    EXPECT_EQ(array->FindSegment(-1, &partition, &number), 0u);
    array->entries[1].flags &= uint8_t(~BodyPartitionEntry::kEssenceOffsetKnown);
    uint8_t flags = 0;
    EXPECT_EQ(array->GetFrameFlags(3, &flags), 1u);
    EXPECT_EQ(array->GetFrameFlags(13, &flags), 0u);
    EXPECT_EQ(Partitions(0)->FindSegment(0, nullptr, nullptr), 0u);
}

}  // namespace

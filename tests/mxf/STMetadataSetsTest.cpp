#include <gtest/gtest.h>

#include "support/MxfTestBytes.h"

#include "foundation/CUVector.h"
#include "mxf/MDValue.h"
#include "mxf/STMetadataSets.h"
#include "mxf/UMID.h"
#include "mxf/tagRGBALayout.h"

namespace {

using namespace qvtest;

CUSharedPtr<STMetadataSets> ParseSet(const std::vector<uint8_t>& value) {
    CUSharedPtr<STMetadataSets> set = CUCreate<STMetadataSets>();
    set->key = ULKey(StructuralSetKey(0x0128).data());
    set->length = value.size();
    return set->Parse(ByteWriter().Bytes(value).Stream(), 0) == 0 ? set : nullptr;
}

enum class Type { Number, UUID, UUIDArray, Umid, String, Bytes, Ints, ByteVectors, Layout };

struct TypeRow {
    Type type;
    uint32_t kind;  // of a number
    uint16_t tag;
};

void PrintTo(const TypeRow& row, std::ostream* out) {
    *out << "type " << int(row.type) << " kind " << row.kind << " tag " << std::hex << row.tag;
}

// A value of the row's type that GetValue takes, and one it refuses (empty: none is refused).
std::pair<std::vector<uint8_t>, std::vector<uint8_t>> Values(const TypeRow& row) {
    switch (row.type) {
        case Type::Number:
            return {std::vector<uint8_t>(MDValue::ByteCountOfKind(row.kind), 1),
                    std::vector<uint8_t>(MDValue::ByteCountOfKind(row.kind) + 1, 1)};
        case Type::UUID:
            return {std::vector<uint8_t>(16, 2), std::vector<uint8_t>(15, 2)};
        case Type::UUIDArray:
            return {ByteWriter().U32(1).U32(16).Fill(16, 3).Data(), {}};
        case Type::Umid:
            return {std::vector<uint8_t>(32, 4), std::vector<uint8_t>(48, 4)};
        case Type::String:
            return {{0, 'Q', 0, 'V'}, {0, 'Q', 0}};
        case Type::Bytes:
            return {{5, 6, 7}, {}};
        case Type::Ints:
            return {ByteWriter().U32(2).U32(4).U32(1).U32(2).Data(),
                    ByteWriter().U32(2).U32(4).U32(1).U32(2).U32(3).Data()};
        case Type::ByteVectors:
            return {ByteWriter().U32(2).U32(3).Fill(6, 9).Data(),
                    ByteWriter().U32(2).U32(3).Fill(5).Data()};
        case Type::Layout:
            return {std::vector<uint8_t>(16, 'R'), {}};
    }
    return {};
}

template <class T>
bool Is(const CUSharedPtr<CUObject>& value) {
    return static_cast<bool>(CUSharedPtr<T>(value));
}

bool IsOfType(const CUSharedPtr<CUObject>& value, const TypeRow& row) {
    switch (row.type) {
        case Type::Number:
            return Is<MDValue>(value) && CUSharedPtr<MDValue>(value)->Kind() == row.kind;
        case Type::UUID:
            return Is<MxfUUID>(value);
        case Type::UUIDArray:
        case Type::ByteVectors:
            return Is<CUArray>(value) && CUSharedPtr<CUArray>(value)->Count() > 0;
        case Type::Umid:
            return Is<UMID>(value);
        case Type::String:
            return Is<CUStringWin>(value);
        case Type::Bytes:
            return Is<CUVector<unsigned char>>(value);
        case Type::Ints:
            return Is<CUVector<int>>(value);
        case Type::Layout:
            return Is<CUVector<tagRGBALayout>>(value);
    }
    return false;
}

class GetValueTable : public testing::TestWithParam<TypeRow> {};

// One tag of each typed form: the form's value, and none for a length it does not allow.
TEST_P(GetValueTable, EachFormGivesItsTypeAndRefusesAWrongLength) {
    const TypeRow& row = GetParam();
    const auto [good, bad] = Values(row);
    CUSharedPtr<STMetadataSets> set = ParseSet(LocalSetWriter().Item(row.tag, good).Data());
    ASSERT_TRUE(set);
    EXPECT_TRUE(IsOfType(set->GetValue(row.tag), row));
    if (bad.empty() || row.type == Type::Layout) return;
    ASSERT_TRUE(set = ParseSet(LocalSetWriter().Item(row.tag, bad).Data()));
    EXPECT_FALSE(set->GetValue(row.tag));
}

INSTANTIATE_TEST_SUITE_P(
    Forms, GetValueTable,
    testing::Values(TypeRow{Type::Number, 1, 0x3D02}, TypeRow{Type::Number, 2, 0x3B05},
                    TypeRow{Type::Number, 3, 0x3F06}, TypeRow{Type::Number, 5, 0x3D04},
                    TypeRow{Type::Number, 6, 0x3307}, TypeRow{Type::Number, 7, 0x3206},
                    TypeRow{Type::Number, 8, 0x4B02}, TypeRow{Type::Number, 9, 0x3B02},
                    TypeRow{Type::Number, 10, 0x4B01}, TypeRow{Type::UUID, 0, 0x3C0A},
                    TypeRow{Type::UUIDArray, 0, 0x1901}, TypeRow{Type::Umid, 0, 0x4401},
                    TypeRow{Type::String, 0, 0x3C01}, TypeRow{Type::Bytes, 0, 0x3215},
                    TypeRow{Type::Ints, 0, 0x320D}, TypeRow{Type::ByteVectors, 0, 0x3D11},
                    TypeRow{Type::Layout, 0, 0x3401}));

TEST(STMetadataSets, EdgesOfTheTypedForms) {
    CUSharedPtr<STMetadataSets> set =
        ParseSet(LocalSetWriter()
                     .Item(0x4401, std::vector<uint8_t>(64, 1))
                     .Item(0x3C01, {0xFF, 0xFE, 'Z', 0})  // a byte order mark turns it around
                     .Item(0x3401, std::vector<uint8_t>(14, 1))
                     .Item(0x3D10, ByteWriter().U32(0x40000000).U32(0).Data())
                     .Item(0x320D, ByteWriter().U32(2).U32(4).U32(1).U32(2).Data())
                     .Item(0x3D11, ByteWriter().U32(2).U32(1).U16(0x0102).Data())
                     .Item(0x3C0A, {})
                     .Item(0x3F0A, {1, 2, 3, 4})  // not in the table
                     .Data());
    ASSERT_TRUE(set);
    EXPECT_EQ(set->GetValueAs<UMID>(0x4401)->Length(), 64u);
    EXPECT_EQ(set->GetValueAs<CUStringWin>(0x3C01)->UTF8String(), "Z");
    ASSERT_TRUE(set->GetValueAs<CUVector<tagRGBALayout>>(0x3401));
    EXPECT_TRUE(set->GetValueAs<CUVector<tagRGBALayout>>(0x3401)->empty());
    EXPECT_EQ(*set->GetValueAs<CUVector<int>>(0x320D), (std::vector<int>{1, 2}));
    CUSharedPtr<CUArray> vectors = set->GetValueAs<CUArray>(0x3D11);
    ASSERT_EQ(vectors->Count(), 2u);
    EXPECT_EQ(*CUSharedPtr<CUVector<unsigned char>>(vectors->ObjectAtIndex(1)),
              (std::vector<unsigned char>{2}));
    EXPECT_FALSE(set->GetValue(0x3D10));  // four billion empty items in eight bytes
    EXPECT_FALSE(set->GetValue(0x3C0A));  // length 0 is entered but fits no UUID
    EXPECT_TRUE(set->HasItem(0x3C0A));
    EXPECT_FALSE(set->GetValue(0x3F0A));
    EXPECT_FALSE(set->GetValue(0x4B01));
    EXPECT_FALSE(set->GetValueAs<MxfUUID>(0x4401));  // a checked cast to the wrong class
}

}  // namespace

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

// The value of `tag` in a set that holds only it; null also when the set does not parse.
CUSharedPtr<CUObject> ValueOf(uint16_t tag, const std::vector<uint8_t>& bytes) {
    CUSharedPtr<STMetadataSets> set = ParseSet(LocalSetWriter().Item(tag, bytes).Data());
    return set ? set->GetValue(tag) : nullptr;
}

template <class T>
bool Is(const CUSharedPtr<CUObject>& value) {
    return static_cast<bool>(CUSharedPtr<T>(value));
}

bool IsFilledArray(const CUSharedPtr<CUObject>& value) {
    return Is<CUArray>(value) && CUSharedPtr<CUArray>(value)->Count() > 0;
}

// Each typed form once, through one of its tags: a value of the form's length gives its class,
// one of a length it does not allow gives nothing.
TEST(STMetadataSets, EachTypedFormTakesOnlyItsLengths) {
    const std::pair<uint32_t, uint16_t> numbers[] = {{1, 0x3D02}, {2, 0x3B05}, {3, 0x3F06},
                                                     {5, 0x3D04}, {6, 0x3307}, {7, 0x3206},
                                                     {8, 0x4B02}, {9, 0x3B02}, {10, 0x4B01}};
    for (const auto& [kind, tag] : numbers) {
        const size_t size = MDValue::ByteCountOfKind(kind);
        const CUSharedPtr<MDValue> value(ValueOf(tag, std::vector<uint8_t>(size, 1)));
        ASSERT_TRUE(value) << std::hex << tag;
        EXPECT_EQ(value->Kind(), kind);
        EXPECT_FALSE(ValueOf(tag, std::vector<uint8_t>(size + 1, 1))) << std::hex << tag;
    }
    const struct {
        uint16_t tag;
        std::vector<uint8_t> good, bad;  // bad empty: the form refuses no length
        bool (*is)(const CUSharedPtr<CUObject>&);
    } forms[] = {
        {0x3C0A, std::vector<uint8_t>(16, 2), std::vector<uint8_t>(15, 2), &Is<MxfUUID>},
        {0x1901, ByteWriter().U32(1).U32(16).Fill(16, 3).Data(), {}, &IsFilledArray},
        {0x4401, std::vector<uint8_t>(32, 4), std::vector<uint8_t>(48, 4), &Is<UMID>},
        {0x3C01, {0, 'Q', 0, 'V'}, {0, 'Q', 0}, &Is<CUStringWin>},
        {0x3215, {5, 6, 7}, {}, &Is<CUVector<unsigned char>>},
        {0x320D, ByteWriter().U32(2).U32(4).U32(1).U32(2).Data(),
         ByteWriter().U32(2).U32(4).U32(1).U32(2).U32(3).Data(), &Is<CUVector<int>>},
        {0x3D11, ByteWriter().U32(2).U32(3).Fill(6, 9).Data(),
         ByteWriter().U32(2).U32(3).Fill(5).Data(), &IsFilledArray},
        {0x3401, std::vector<uint8_t>(16, 'R'), {}, &Is<CUVector<tagRGBALayout>>},
    };
    for (const auto& form : forms) {
        EXPECT_TRUE(form.is(ValueOf(form.tag, form.good))) << std::hex << form.tag;
        EXPECT_TRUE(form.bad.empty() || !ValueOf(form.tag, form.bad)) << std::hex << form.tag;
    }
}

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

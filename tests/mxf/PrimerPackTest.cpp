#include <gtest/gtest.h>

#include "support/MxfTestBytes.h"

#include "mxf/MXFError.h"
#include "mxf/PrimerPack.h"

namespace {

using namespace qvtest;

// A primer read from `value`, which stands behind two other bytes.
uint32_t Parse(PrimerPack& primer, const ByteWriter& value) {
    primer.key = ULKey(PrimerPackKey().data());
    primer.length = value.Size();
    return primer.Parse(ByteWriter().U16(0xEEEE).Bytes(value.Data()).Stream(), 2);
}

TEST(PrimerPack, MapsLabelsToTagsAndTheFirstTagOfALabelStands) {
    const Key16 a = Label({0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01}),
                b = Label({0x01, 0x02});
    PrimerPack primer;
    ASSERT_EQ(
        Parse(
            primer,
            ByteWriter().U32(3).U32(18).U16(0x3C0A).Bytes(a).U16(0x8007).Bytes(b).U16(0x1234).Bytes(
                a)),
        0u);
    EXPECT_TRUE(primer.IsValidKey());
    uint16_t tag = 0;
    ASSERT_TRUE(primer.GetTag(MxfUUID(a.data()), &tag));
    EXPECT_EQ(tag, 0x3C0A);
    EXPECT_EQ(primer.Entries().size(), 2u);
    EXPECT_FALSE(primer.GetTag(MxfUUID(), &tag));
    EXPECT_EQ(primer.Description()->UTF8String(),
              "06.0E.2B.34.01.01.01.01.01.01.01.01.00.00.00.00 = 3C0A\n"
              "06.0E.2B.34.01.02.00.00.00.00.00.00.00.00.00.00 = 8007\n");
    EXPECT_EQ(primer.Parse(nullptr, 0), MXFErrorArgument);
}

struct PrimerCase {
    const char* name;
    ByteWriter value;
    uint32_t result;
};

void PrintTo(const PrimerCase& c, std::ostream* out) {
    *out << c.name;
}

class PrimerFailures : public testing::TestWithParam<PrimerCase> {};

TEST_P(PrimerFailures, LeaveTheMapEmpty) {
    PrimerPack primer;
    ASSERT_EQ(Parse(primer, ByteWriter().U32(1).U32(18).U16(1).Fill(16)), 0u);
    EXPECT_EQ(Parse(primer, GetParam().value), GetParam().result);
    EXPECT_TRUE(primer.Entries().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Damaged, PrimerFailures,
    testing::Values(PrimerCase{"no items", ByteWriter().U32(0).U32(18), 0},
                    PrimerCase{"other item size", ByteWriter().U32(1).U32(17).Fill(17), 0},
                    PrimerCase{"header cut", ByteWriter().U32(1).U16(0), 0},
                    PrimerCase{"last item cut", ByteWriter().U32(2).U32(18).Fill(35),
                               MXFErrorParse},
                    PrimerCase{"count beyond the pack",
                               ByteWriter().U32(0xFFFFFFFF).U32(18).Fill(36), MXFErrorParse}));

}  // namespace

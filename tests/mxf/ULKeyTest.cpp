#include <gtest/gtest.h>

#include "support/MxfTestBytes.h"

#include "mxf/MxfUUID.h"
#include "mxf/ULKey.h"

namespace {

using namespace qvtest;

struct KindCase {
    const char* name;
    Key16 key;
    uint32_t kind;
};

void PrintTo(const KindCase& c, std::ostream* out) {
    *out << c.name;
}

class KLVKindTable : public testing::TestWithParam<KindCase> {};

TEST_P(KLVKindTable, ClassifiesTheKey) {
    EXPECT_EQ(ULKey(GetParam().key.data()).GetKind(), GetParam().kind);
}

// Bytes 6 to 9 of the format's own sets and packs.
#define REG 0x01, 0x01, 0x0D, 0x01

// The edges of the classifier: prefix, version bytes, the local-set coding of byte 5. The kinds of
// partitions, primer, sets, index segments, essence and the RIP are classified on every file that
// MXFStreamRoundTripTest and MXFStreamOracleTest read.
INSTANTIATE_TEST_SUITE_P(
    Edges, KLVKindTable,
    testing::Values(KindCase{"zero", Key16{}, KLVKindUnknown},
                    KindCase{"prefix differs, byte 5 not looked at",
                             Key16{0x06, 0x0E, 0x2B, 0x35, 0x02, 0x53, REG, 1, 1, 1, 1, 0x2F},
                             KLVKindUnknown},
                    KindCase{"other category", Label({0x07, 0x01}), KLVKindOther},
                    KindCase{"picture, any version byte",
                             Label({0x01, 0x02, 0x01, 0x7F, 0x0D, 0x01, 0x03, 0x01, 0x15, 1, 5, 1}),
                             KLVKindPictureEssence},
                    KindCase{"local set 0x7B", Label({0x02, 0x7B}), KLVKindLocalSet},
                    KindCase{"0x83 is not a local set", Label({0x02, 0x83, REG, 1, 1, 1, 1, 0x2F}),
                             KLVKindOther},
                    KindCase{"preface", StructuralSetKey(0x012F), 0x801012Fu},
                    KindCase{"structural set, version byte tested",
                             Label({0x02, 0x53, 1, 2, 0x0D, 1, 1, 1, 1}), KLVKindLocalSet},
                    KindCase{"partition, version byte tested",
                             Label({0x02, 0x05, 1, 2, 0x0D, 1, 2, 1, 1, 2}), KLVKindFixedPack}));

#undef REG

TEST(Labels, CompareAsRawBytesAndPrintDotted) {
    const Key16 low = Label({0x02, 0x53});
    Key16 high = low;
    high[15] = 0x80;  // unsigned: 0x80 sorts above 0x7F
    EXPECT_LT(MxfUUID(low.data()), MxfUUID(high.data()));
    EXPECT_LT(ULKey(low.data()), ULKey(high.data()));
    EXPECT_EQ(ULKey(high.data()).Description()->UTF8String(),
              "06.0E.2B.34.02.53.00.00.00.00.00.00.00.00.00.80");
    EXPECT_EQ(MxfUUID(high.data()).Description()->UTF8String(),
              ULKey(high.data()).Description()->UTF8String());
}

}  // namespace

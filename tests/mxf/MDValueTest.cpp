#include <gtest/gtest.h>

#include "support/ByteWriter.h"

#include <functional>
#include <string>

#include "mxf/MDValue.h"

namespace {

using namespace qvtest;

CUSharedPtr<MDValue> Make(uint32_t kind, const ByteWriter& bytes) {
    return CUCreate<MDValue>(kind, CUSharedPtr<CUMemoryStream>(bytes.Stream()));
}

struct KindCase {
    uint32_t kind;
    ByteWriter bytes;
    std::function<int64_t(MDValue&)> read;  // the accessor of the kind
    int64_t value;
    const char* text;
};

void PrintTo(const KindCase& c, std::ostream* out) {
    *out << "kind " << c.kind;
}

class MDValueKinds : public testing::TestWithParam<KindCase> {};

TEST_P(MDValueKinds, ReadBigEndianFromTheStartAndPrintInTheirForm) {
    const KindCase& c = GetParam();
    CUSharedPtr<MDValue> value = Make(c.kind, c.bytes);
    ASSERT_TRUE(value);
    EXPECT_EQ(c.read(*value), c.value);
    EXPECT_EQ(c.read(*value), c.value);  // each access begins again at the first byte
    EXPECT_EQ(value->Description()->UTF8String(), c.text);
    // Any accessor of another kind refuses the value.
    const uint32_t other = c.kind == MDValueUInt32 ? MDValueUInt16 : MDValueUInt32;
    CUSharedPtr<MDValue> mismatched = Make(other, ByteWriter().Fill(8));
    try {
        c.read(*mismatched);
        ADD_FAILURE() << "no cast error";
    } catch (const char* error) {
        EXPECT_STREQ(error, "MDValue Cast Error");
    }
}

using V = MDValue&;
INSTANTIATE_TEST_SUITE_P(
    AllKinds, MDValueKinds,
    testing::Values(
        KindCase{MDValueUInt8, ByteWriter().U8(200), [](V v) { return v.AsUInt8(); }, 200, "200"},
        KindCase{MDValueUInt16, ByteWriter().U16(0xFFFE), [](V v) { return v.AsUInt16(); }, 0xFFFE,
                 "65534"},
        KindCase{MDValueUInt32, ByteWriter().U32(0xFFFFFFFF), [](V v) { return v.AsUInt32(); },
                 0xFFFFFFFF, "4294967295"},
        KindCase{MDValueUInt64, ByteWriter().U64(1ull << 40),
                 [](V v) { return int64_t(v.AsUInt64()); }, 1ll << 40, "1099511627776"},
        KindCase{MDValueInt8, ByteWriter().U8(0xFE), [](V v) { return v.AsInt8(); }, -2, "-2"},
        KindCase{MDValueInt16, ByteWriter().U16(0x8000), [](V v) { return v.AsInt16(); }, -32768,
                 "-32768"},
        KindCase{MDValueInt32, ByteWriter().U32(0xFFFFFFFF), [](V v) { return v.AsInt32(); }, -1,
                 "-1"},
        KindCase{MDValueInt64, ByteWriter().U64(uint64_t(-5)), [](V v) { return v.AsInt64(); }, -5,
                 "-5"},
        KindCase{MDValueTimestamp, ByteWriter().U16(2023).Bytes({12, 31, 23, 59, 58, 249}),
                 [](V v) { return int64_t(v.AsTimestamp().quarterMilliseconds); }, 249,
                 "2023/12/31 23:59:58 249"},
        KindCase{MDValueRational, ByteWriter().U32(uint32_t(-30000)).U32(1001),
                 [](V v) { return int64_t(v.AsRational().numerator); }, -30000, "-30000/1001"}));

TEST(MDValue, NoBytesOrTooFewBytes) {
    try {
        MDValue value(MDValueUInt8, nullptr);
        ADD_FAILURE() << "no init error";
    } catch (const char* error) {
        EXPECT_STREQ(error, "MDValue Init Error");
    }
    CUSharedPtr<MDValue> shortValue = Make(MDValueInt64, ByteWriter().U32(1));
    EXPECT_THROW(shortValue->AsInt64(), const char*);
    EXPECT_THROW(Make(MDValueRational, ByteWriter().U32(1))->AsRational(), const char*);
}

}  // namespace

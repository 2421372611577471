#include <gtest/gtest.h>

#include <cstring>

#include "foundation/CUUUID.h"

namespace {

TEST(CUUUID, MakeLabelReadsInWireOrder) {
    CUSharedPtr<CUUUID> label = CUUUID::MakeLabel(0x04010101, 0x01020304, 0x0A0B0C0D);
    ASSERT_TRUE(label);
    const uint8_t wire[16] = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01,
                              0x01, 0x02, 0x03, 0x04, 0x0A, 0x0B, 0x0C, 0x0D};
    uint8_t out[16];
    label->GetBigEndian(out);
    EXPECT_EQ(std::memcmp(out, wire, 16), 0);
}

TEST(CUUUID, BytesRoundTripAndCompare) {
    uint8_t bytes[16];
    for (int i = 0; i < 16; ++i) bytes[i] = static_cast<uint8_t>(i * 17);
    CUUUID a(bytes), b;
    EXPECT_FALSE(a.IsEqual(b));
    b.Assign(a);
    EXPECT_TRUE(a.IsEqual(b));
    EXPECT_TRUE(a.IsEqualToBytes(bytes));
    EXPECT_FALSE(a.IsEqualToBytes(nullptr));
    uint8_t out[16];
    a.GetBytes(out);
    EXPECT_EQ(std::memcmp(out, bytes, 16), 0);
    // Host-order fields swap in the wire form; the last eight bytes stay.
    a.GetBigEndian(out);
    EXPECT_EQ(out[0], bytes[3]);
    EXPECT_EQ(out[4], bytes[5]);
    EXPECT_EQ(out[6], bytes[7]);
    EXPECT_EQ(std::memcmp(out + 8, bytes + 8, 8), 0);
}

}  // namespace

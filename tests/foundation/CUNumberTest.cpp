#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "foundation/CUNumber.h"
#include "foundation/CUVector.h"

namespace {

template <class T>
CUSharedPtr<CUNumber> Box(T v) {
    return CUCreate<CUNumberConcrete<T>>(v);
}

// Narrow integers extend by the sign of the source, wide ones truncate.
TEST(CUNumber, IntegersExtendBySignOfSourceOrTruncate) {
    EXPECT_EQ(Box(-1)->UInt64Value(), UINT64_MAX);
    EXPECT_EQ(Box(0xFFFFFFFFu)->Int64Value(), 0xFFFFFFFFll);
    EXPECT_EQ(Box<unsigned short>(0xFFFF)->Int16Value(), -1);
    EXPECT_EQ(Box<int64_t>(0x123456789ll)->UInt32Value(), 0x23456789u);
    EXPECT_EQ(Box<uint64_t>(0x18000ull)->Int16Value(), INT16_MIN);
}

// Floats truncate toward zero; unsigned values past the signed range convert both ways; floats
// out of range give the indefinite integer instead of undefined behaviour.
TEST(CUNumber, FloatsTruncateAndOutOfRangeGiveIndefinite) {
    EXPECT_EQ(Box(-1.9f)->Int64Value(), -1);
    EXPECT_TRUE(Box(1.9f)->BoolValue());
    EXPECT_FALSE(Box(0.0f)->BoolValue());
    const uint64_t big = (1ull << 63) + (1ull << 40);
    EXPECT_EQ(Box<uint64_t>(big)->DoubleValue(), static_cast<double>(big));
    EXPECT_GT(Box<uint64_t>(UINT64_MAX)->FloatValue(), 1.8e19f);
    EXPECT_EQ(Box(static_cast<float>(big))->UInt64Value(), big);
    EXPECT_EQ(Box(static_cast<double>(big))->UInt64Value(), big);
    const float huge = 1e30f;
    EXPECT_EQ(Box(huge)->Int32Value(), INT32_MIN);
    EXPECT_EQ(Box(huge)->Int64Value(), INT64_MIN);
    EXPECT_EQ(Box(std::numeric_limits<float>::quiet_NaN())->Int32Value(), INT32_MIN);
    EXPECT_TRUE(Box(std::numeric_limits<float>::quiet_NaN())->BoolValue());
    EXPECT_EQ(Box(3e9f)->UInt32Value(), 3000000000u);
}

TEST(CUNumberAndVector, DescriptionLikeTheOutputStream) {
    EXPECT_EQ(Box<unsigned char>(65)->Description()->UTF8String(), "65");
    EXPECT_EQ(Box(1.9f)->Description()->UTF8String(), "1.9");
    EXPECT_EQ(CUVector<int>().Description()->UTF8String(), "{}");
    EXPECT_EQ((CUVector<unsigned char>{1, 2, 255}).Description()->UTF8String(), "{ 1, 2, 255 }");
    struct Pixel {
        uint8_t r, g, b, a;
    };
    EXPECT_EQ(CUVector<Pixel>(2).Description()->UTF8String().rfind("CUVector<", 0), 0u);
}

}  // namespace

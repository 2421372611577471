#include <gtest/gtest.h>

#include <vector>

#include "mxf/MXFError.h"
#include "mxf/UMID.h"

namespace {

TEST(UMID, TakesOnlyBasicOrExtendedLengths) {
    std::vector<uint8_t> bytes(64);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i + 1);
    UMID umid;
    ASSERT_EQ(umid.Set(bytes.data(), 32), 0u);
    for (uint32_t bad : {0u, 31u, 48u, 65u})
        EXPECT_EQ(umid.Set(bytes.data(), bad), MXFErrorArgument);
    EXPECT_EQ(umid.Set(nullptr, 64), MXFErrorArgument);
    EXPECT_EQ(umid.Length(), 32u);  // failures change nothing
    EXPECT_EQ(umid.Description()->UTF8String().substr(0, 12), "01.02.03.04.");
    EXPECT_EQ(umid.Description()->UTF8String().size(), 32u * 3 - 1);

    UMID extended;
    ASSERT_EQ(extended.Set(bytes.data(), 64), 0u);
    EXPECT_FALSE(extended.IsEqual(umid));  // same first 32 bytes, other length
    ASSERT_EQ(extended.Set(bytes.data(), 32), 0u);
    EXPECT_TRUE(extended.IsEqual(umid));  // the tail of the longer form was cleared
    EXPECT_EQ(extended.Bytes()[40], 0);
}

}  // namespace

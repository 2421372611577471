#include <gtest/gtest.h>

#include "foundation/CUObject.h"

TEST(CUSharedPtr, IsTwoMachineWords) { EXPECT_EQ(sizeof(CUSharedPtr<CUObject>), 2 * sizeof(void*)); }

#include <gtest/gtest.h>

#include "foundation/CUArray.h"
#include "foundation/CUNumber.h"
#include "foundation/CUSortDescriptor.h"

namespace {

CUSharedPtr<CUObject> Number(int v) {
    return CUCreate<CUNumberConcrete<int>>(v);
}

int ValueAt(const CUSharedPtr<CUArray>& array, uint64_t i) {
    return CUSharedPtr<CUNumber>(array->ObjectAtIndex(i))->Int32Value();
}

// Compares by value / 10, so that 11 and 12 are equal and reveal whether the sort is stable.
class ByTens : public CUSortDescriptor {
public:
    int32_t Compare(CUSharedPtr<CUObject> a, CUSharedPtr<CUObject> b) override {
        const int x = CUSharedPtr<CUNumber>(a)->Int32Value() / 10;
        const int y = CUSharedPtr<CUNumber>(b)->Int32Value() / 10;
        return x < y ? -1 : x > y ? 1 : 0;
    }
};

TEST(CUArray, DescriptionPrintsNullSlots) {
    CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
    array->AddObject(Number(7));
    array->AddObject(nullptr);
    EXPECT_EQ(array->Description()->UTF8String(), "{\r\n\t7\r\n\t<NULL>\r\n}");
    EXPECT_EQ(CUCreate<CUArray>()->Description()->UTF8String(), "{\r\n}");
}

TEST(CUArray, AddObjectsFromArrayAppendsInOrderIncludingItself) {
    CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
    array->AddObjectsFromArray(nullptr);
    array->AddObjectsFromArray(CUCreate<CUArray>());
    EXPECT_EQ(array->Count(), 0u);
    array->AddObject(Number(1));
    array->AddObject(Number(2));
    array->AddObjectsFromArray(array);
    ASSERT_EQ(array->Count(), 4u);
    EXPECT_EQ(ValueAt(array, 2), 1);
    EXPECT_EQ(ValueAt(array, 3), 2);
}

TEST(CUArray, IndexAtCountGivesNullAndRemoveAllReleases) {
    CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
    CUSharedPtr<CUObject> element = Number(3);
    array->AddObject(element);
    EXPECT_EQ(element->RetainCount(), 2);
    EXPECT_TRUE(array->ObjectAtIndex(0));
    EXPECT_FALSE(array->ObjectAtIndex(1));
    EXPECT_FALSE(array->ObjectAtIndex(UINT64_MAX));
    array->RemoveAllObjects();
    EXPECT_EQ(array->Count(), 0u);
    EXPECT_EQ(element->RetainCount(), 1);
}

// Order 1 puts the greater first; any other order puts the lesser first. The receiver stays.
TEST(CUArray, SortIsStableInBothOrders) {
    EXPECT_FALSE(CUCreate<CUArray>()->SortedArrayUsingDescriptor(nullptr));
    CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
    for (int v : {21, 11, 30, 12, 22, 13}) array->AddObject(Number(v));
    const std::vector<int> ascending = {11, 12, 13, 21, 22, 30};
    for (const auto& [order, expected] :
         {std::pair{1, std::vector{30, 21, 22, 11, 12, 13}}, {0, ascending}, {-1, ascending}}) {
        CUSharedPtr<ByTens> descriptor = CUCreate<ByTens>();
        descriptor->order = order;
        CUSharedPtr<CUArray> sorted = array->SortedArrayUsingDescriptor(descriptor);
        ASSERT_TRUE(sorted);
        std::vector<int> got;
        for (uint64_t i = 0; i < sorted->Count(); ++i) got.push_back(ValueAt(sorted, i));
        EXPECT_EQ(got, expected) << "order " << order;
        EXPECT_EQ(ValueAt(array, 0), 21);
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "foundation/CUDateTime.h"
#include "foundation/CUStringWin.h"

namespace {

// Each test that converts names its own zone; nothing else in this program depends on it.
void UseZone(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
}

std::string Text(const CUDateTime& time) {
    CUSharedPtr<CUStringWin> description = time.Description();
    return description ? description->UTF8String() : "<null>";
}

struct LocalCase {
    const char* zone;
    int64_t seconds;
    const char* description;
};

class LocalTimeTest : public testing::TestWithParam<LocalCase> {};

TEST_P(LocalTimeTest, FieldsAndDescriptionAreLocal) {
    const LocalCase& c = GetParam();
    UseZone(c.zone);
    const CUDateTime time(c.seconds);
    EXPECT_EQ(Text(time), c.description);
    char fields[64];
    std::snprintf(fields, sizeof fields, "LocalTime:%04d/%02d/%02d %02d:%02d:%02d", time.GetYear(),
                  time.GetMonth(), time.GetDay(), time.GetHour(), time.GetMinute(),
                  time.GetSecond());
    EXPECT_EQ(fields, Text(time));
}

INSTANTIATE_TEST_SUITE_P(
    CUDateTime, LocalTimeTest,
    testing::Values(LocalCase{"UTC0", 0, "LocalTime:1970/01/01 00:00:00"},
                    LocalCase{"UTC0", 1709164799, "LocalTime:2024/02/28 23:59:59"},
                    // Nine hours east the same instant is already the next (leap) day.
                    LocalCase{"XST-9", 1709164799, "LocalTime:2024/02/29 08:59:59"},
                    LocalCase{"XST5", 0, "LocalTime:1969/12/31 19:00:00"}));

TEST(CUDateTime, UnsetOrUnconvertibleGivesZeroFields) {
    UseZone("UTC0");
    for (const CUDateTime& time : {CUDateTime(std::nullopt), CUDateTime(INT64_MAX)}) {
        EXPECT_EQ(time.Description(), nullptr);
        EXPECT_EQ(time.GetYear(), 1900);
        EXPECT_EQ(
            time.GetMonth() + time.GetDay() + time.GetHour() + time.GetMinute() + time.GetSecond(),
            0);
    }
}

TEST(CUDateTime, ComparisonsWithAnUnsetTimeAreFalse) {
    const CUDateTime set(100);
    const CUDateTime unset(std::nullopt);
    EXPECT_TRUE(set.IsEarlier(CUDateTime(200)) && set.IsEqual(CUDateTime(100)));
    EXPECT_FALSE(set.IsEqual(unset) || set.IsEarlier(unset) || unset.IsEqual(unset));
}

}  // namespace

#include "foundation/CUDateTime.h"

#include <cstdint>
#include <ctime>
#include <new>

#include "foundation/CUStringWin.h"

namespace {
std::unique_ptr<int64_t> MakeTime(int64_t seconds) {
    // Exhaustion leaves the time unset, the state every reader already handles.
    return std::unique_ptr<int64_t>(new (std::nothrow) int64_t(seconds));
}

bool ToLocal(int64_t seconds, struct tm* out) {
    const auto value = static_cast<time_t>(seconds);
    // A year that fits the field but not the field plus 1900 counts as not convertible.
    return localtime_r(&value, out) != nullptr && out->tm_year <= INT32_MAX - 1900;
}
}  // namespace

CUDateTime::CUDateTime() : time(MakeTime(static_cast<int64_t>(std::time(nullptr)))) {}

CUDateTime::CUDateTime(int64_t secondsSince1970) : time(MakeTime(secondsSince1970)) {}

CUDateTime::CUDateTime(std::nullopt_t) {}

CUDateTime::CUDateTime(const CUDateTime& other)
    : CUObject(other), time(other.time ? MakeTime(*other.time) : nullptr) {}

CUDateTime::~CUDateTime() = default;

CUSharedPtr<CUStringWin> CUDateTime::Description() const {
    struct tm local {};
    if (!time || !ToLocal(*time, &local)) return nullptr;
    char text[128];
    if (std::strftime(text, sizeof text, "LocalTime:%Y/%m/%d %H:%M:%S", &local) == 0) {
        return nullptr;
    }
    return CUCreate<CUStringWin>(text);
}

CUDateTime& CUDateTime::Assign(const CUDateTime& other) {
    if (this != &other) time = other.time ? MakeTime(*other.time) : nullptr;
    return *this;
}

bool CUDateTime::IsEqual(const CUDateTime& other) const {
    return time && other.time && *time == *other.time;
}

bool CUDateTime::IsEarlier(const CUDateTime& other) const {
    return time && other.time && *time < *other.time;
}

std::optional<int64_t> CUDateTime::Seconds() const {
    return time ? std::optional<int64_t>(*time) : std::nullopt;
}

struct tm CUDateTime::LocalTime() const {
    struct tm local {};
    if (!time || !ToLocal(*time, &local)) local = tm{};
    return local;
}

int32_t CUDateTime::GetYear() const {
    return LocalTime().tm_year + 1900;
}
int32_t CUDateTime::GetMonth() const {
    const struct tm local = LocalTime();
    return local.tm_mday == 0 ? 0 : local.tm_mon + 1;  // a converted time always has a day
}
int32_t CUDateTime::GetDay() const {
    return LocalTime().tm_mday;
}
int32_t CUDateTime::GetHour() const {
    return LocalTime().tm_hour;
}
int32_t CUDateTime::GetMinute() const {
    return LocalTime().tm_min;
}
int32_t CUDateTime::GetSecond() const {
    return LocalTime().tm_sec;
}

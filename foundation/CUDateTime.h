// CUDateTime: a moment in whole seconds since 1 January 1970 (UTC), or unset.
//
// The accessors and Description work in the local time zone of the process. A time that is
// unset or cannot be converted gives year 1900 and 0 for every other field, and a null
// description. Comparisons with an unset time give false.
// Threads: no lock; a value may be read from several threads once made.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>

#include "foundation/CUObject.h"

class CUDateTime : public CUObject {
public:
    // The current time.
    CUDateTime();
    explicit CUDateTime(int64_t secondsSince1970);
    // Unset.
    explicit CUDateTime(std::nullopt_t);
    CUDateTime(const CUDateTime& other);
    CUDateTime& operator=(const CUDateTime& other) { return Assign(other); }
    ~CUDateTime() override;

    // "LocalTime:%Y/%m/%d %H:%M:%S".
    CUSharedPtr<CUStringWin> Description() const override;

    virtual CUDateTime& Assign(const CUDateTime& other);
    virtual bool IsEqual(const CUDateTime& other) const;
    virtual bool IsEarlier(const CUDateTime& other) const;

    std::optional<int64_t> Seconds() const;
    int32_t GetYear() const;    // in full, e.g. 2024
    int32_t GetMonth() const;   // 1 to 12
    int32_t GetDay() const;     // of the month, 1 to 31
    int32_t GetHour() const;    // 0 to 23
    int32_t GetMinute() const;  // 0 to 59
    int32_t GetSecond() const;  // 0 to 60

private:
    // Fields of the local time; all zero when unset or not convertible.
    struct tm LocalTime() const;

    std::unique_ptr<int64_t> time;  // null when unset
};

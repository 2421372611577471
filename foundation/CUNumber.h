// CUNumber: an abstract box around one number; CUNumberConcrete<T> holds the value.
//
// Every accessor is a plain conversion: integers narrower than the result extend by the sign of T,
// wider ones truncate; a float truncates toward zero (above 2^63 still correct for UInt64Value); a
// float out of an integer's range, or NaN, gives what the x86-64 conversion instructions give (the
// "integer indefinite", the lowest value of the signed type) and never undefined behaviour.
// No lock: a number is immutable once made.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>
#include <type_traits>

#include "foundation/CUStringWin.h"

class CUNumber : public CUObject {
public:
    virtual bool BoolValue() const = 0;
    virtual uint8_t UInt8Value() const = 0;
    virtual uint16_t UInt16Value() const = 0;
    virtual uint32_t UInt32Value() const = 0;
    virtual uint64_t UInt64Value() const = 0;
    virtual int8_t Int8Value() const = 0;
    virtual int16_t Int16Value() const = 0;
    virtual int32_t Int32Value() const = 0;
    virtual int64_t Int64Value() const = 0;
    virtual float FloatValue() const = 0;
    virtual double DoubleValue() const = 0;
};

namespace cu_detail {
// Truncation toward zero into a signed integer of width W, as the hardware does it.
template <class I, class F>
I TruncateFloat(F value) {
    static_assert(std::is_signed_v<I>);
    // The range is [-2^(bits-1), 2^(bits-1)); both bounds are powers of two, exact in any float.
    using U = std::make_unsigned_t<I>;
    constexpr F upper = static_cast<F>(static_cast<U>(1) << std::numeric_limits<I>::digits);
    constexpr F lower = -upper;
    if (!(value >= lower && value < upper)) return std::numeric_limits<I>::min();
    return static_cast<I>(value);
}

template <class R, class T>
R ConvertNumber(T value) {
    if constexpr (std::is_floating_point_v<R> || !std::is_floating_point_v<T>) {
        return static_cast<R>(value);
    } else if constexpr (std::is_same_v<R, uint64_t>) {
        constexpr T two63 = static_cast<T>(9223372036854775808.0);
        if (value >= two63 && value < two63 * 2)
            return static_cast<uint64_t>(TruncateFloat<int64_t>(value - two63)) + (1ull << 63);
        return static_cast<uint64_t>(TruncateFloat<int64_t>(value));
    } else if constexpr (sizeof(R) < 4) {
        return static_cast<R>(TruncateFloat<int32_t>(value));
    } else if constexpr (std::is_same_v<R, uint32_t>) {
        return static_cast<R>(TruncateFloat<int64_t>(value));
    } else {
        return TruncateFloat<R>(value);
    }
}
}  // namespace cu_detail

template <class T>
class CUNumberConcrete : public CUNumber {
public:
    explicit CUNumberConcrete(T v) : value(v) {}

    // The value as the standard output stream prints it; an unsigned char prints as a number.
    CUSharedPtr<CUStringWin> Description() const override {
        std::ostringstream out;
        if constexpr (sizeof(T) == 1)
            out << static_cast<int>(value);
        else
            out << value;
        return CUCreate<CUStringWin>(out.str().c_str());
    }

    bool BoolValue() const override { return value != 0; }
    uint8_t UInt8Value() const override { return cu_detail::ConvertNumber<uint8_t>(value); }
    uint16_t UInt16Value() const override { return cu_detail::ConvertNumber<uint16_t>(value); }
    uint32_t UInt32Value() const override { return cu_detail::ConvertNumber<uint32_t>(value); }
    uint64_t UInt64Value() const override { return cu_detail::ConvertNumber<uint64_t>(value); }
    int8_t Int8Value() const override { return cu_detail::ConvertNumber<int8_t>(value); }
    int16_t Int16Value() const override { return cu_detail::ConvertNumber<int16_t>(value); }
    int32_t Int32Value() const override { return cu_detail::ConvertNumber<int32_t>(value); }
    int64_t Int64Value() const override { return cu_detail::ConvertNumber<int64_t>(value); }
    float FloatValue() const override { return cu_detail::ConvertNumber<float>(value); }
    double DoubleValue() const override { return cu_detail::ConvertNumber<double>(value); }

    const T value;
};

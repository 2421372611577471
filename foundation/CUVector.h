// CUVector<T>: a growable contiguous vector of plain values that is also a CUObject, so that it can
// be held and shared by CUSharedPtr. Callers use the vector's ordinary operations directly.
// No lock: a vector filled by one thread may be read by several once filling has ended.
#pragma once

#include <cinttypes>
#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

#include "foundation/CUStringWin.h"

template <class T>
class CUVector : public CUObject, public std::vector<T> {
public:
    using std::vector<T>::vector;
    CUVector() = default;

    // "{ 1, 2, 3 }" for integer elements, "{}" when empty; the object form for other types.
    CUSharedPtr<CUStringWin> Description() const override {
        if constexpr (!std::is_integral_v<T> || sizeof(T) > 8) {
            return CUObject::Description();
        } else {
            std::string text = "{";
            char item[32];
            for (size_t i = 0; i < this->size(); ++i) {
                FormatItem(item, sizeof item, (*this)[i]);
                text += item;
                text += i + 1 < this->size() ? "," : " ";
            }
            text += "}";
            return CUCreate<CUStringWin>(text.c_str());
        }
    }

private:
    static void FormatItem(char* out, size_t size, T v) {
        if constexpr (std::is_same_v<T, uint64_t> || std::is_same_v<T, unsigned long long>)
            std::snprintf(out, size, " %llu", static_cast<unsigned long long>(v));
        else if constexpr (std::is_same_v<T, int64_t> || std::is_same_v<T, long long>)
            std::snprintf(out, size, " %lld", static_cast<long long>(v));
        else if constexpr (std::is_unsigned_v<T>)
            std::snprintf(out, size, " %u", static_cast<unsigned>(v));
        else
            std::snprintf(out, size, " %d", static_cast<int>(v));
    }
};

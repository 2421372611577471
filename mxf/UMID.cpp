#include "mxf/UMID.h"

#include <cstring>
#include <string>

#include "mxf/MXFError.h"

uint32_t UMID::Set(const uint8_t* source, uint32_t byteCount) {
    if (!source || (byteCount != kBasicLength && byteCount != kExtendedLength))
        return MXFErrorArgument;
    std::memset(value, 0, sizeof value);
    std::memcpy(value, source, byteCount);
    length = byteCount;
    return MXFErrorNone;
}

bool UMID::IsEqual(const UMID& other) const {
    return length == other.length && std::memcmp(value, other.value, length) == 0;
}

CUSharedPtr<CUStringWin> UMID::Description() const {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string text;
    for (uint32_t i = 0; i < length; ++i) {
        if (i) text += '.';
        text += kHex[value[i] >> 4];
        text += kHex[value[i] & 0x0F];
    }
    return CUCreate<CUStringWin>(text.c_str());
}

#include "mxf/MxfUUID.h"

#include <cstdio>
#include <cstring>

MxfUUID::MxfUUID(const uint8_t* source) {
    if (source) std::memcpy(bytes.data(), source, kSize);
}

CUSharedPtr<CUStringWin> MxfUUID::Description() const {
    return CUCreate<CUStringWin>(MxfLabelText(bytes).c_str());
}

std::string MxfLabelText(const std::array<uint8_t, MxfUUID::kSize>& bytes) {
    char text[MxfUUID::kSize * 3];
    char* at = text;
    for (uint32_t i = 0; i < MxfUUID::kSize; ++i) {
        std::snprintf(at, 4, i + 1 < MxfUUID::kSize ? "%02X." : "%02X", bytes[i]);
        at += 3;
    }
    return std::string(text, MxfUUID::kSize * 3 - 1);
}

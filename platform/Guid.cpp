#include "platform/Guid.h"

#include <cstdio>
#include <cstring>

std::strong_ordering GUID::operator<=>(const GUID& other) const {
    const int order = std::memcmp(this, &other, sizeof(GUID));
    return order < 0   ? std::strong_ordering::less
           : order > 0 ? std::strong_ordering::greater
                       : std::strong_ordering::equal;
}

std::string GuidToString(REFGUID g) {
    char text[40];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", g.Data1,
                  g.Data2, g.Data3, g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4],
                  g.Data4[5], g.Data4[6], g.Data4[7]);
    return text;
}

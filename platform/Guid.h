// GUID: a 16-byte identifier of a class, an interface or a media type, in the platform's layout
// (a 32-bit, two 16-bit and eight byte-wide fields). Compared as a whole; usable as a map key.
#pragma once

#include <compare>
#include <cstdint>
#include <string>

struct GUID {
    uint32_t Data1 = 0;
    uint16_t Data2 = 0;
    uint16_t Data3 = 0;
    uint8_t Data4[8] = {};

    bool operator==(const GUID&) const = default;
    std::strong_ordering operator<=>(const GUID& other) const;
};
static_assert(sizeof(GUID) == 16);

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline constexpr GUID GUID_NULL{};

inline bool IsEqualGUID(REFGUID a, REFGUID b) {
    return a == b;
}

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case, as the platform writes class ids.
std::string GuidToString(REFGUID guid);
// A media subtype whose first field is a four-character code, in the platform's base layout
// (XXXXXXXX-0000-0010-8000-00AA00389B71).
constexpr GUID FourCCSubtype(uint32_t fourcc) {
    return GUID{fourcc, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}
// The four-character code "abcd" with 'a' in the lowest byte, as the platform packs it.
constexpr uint32_t MakeFourCC(char a, char b, char c, char d) {
    return static_cast<uint32_t>(static_cast<uint8_t>(a)) |
           static_cast<uint32_t>(static_cast<uint8_t>(b)) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(c)) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(d)) << 24;
}

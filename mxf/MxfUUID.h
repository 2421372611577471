// MxfUUID: a 16-byte identifier (instance and package references, labels in values), kept as
// the bytes stand in the file. Compared as 16 raw bytes: equality as a whole, order as unsigned
// bytes from the first, so that it can key a sorted map.
// No lock: treat an identifier as immutable once shared.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string>

#include "foundation/CUStringWin.h"

class MxfUUID : public CUObject {
public:
    static constexpr uint32_t kSize = 16;

    MxfUUID() = default;  // all zero
    // Copies kSize bytes; null gives the zero identifier.
    explicit MxfUUID(const uint8_t* source);
    MxfUUID(const MxfUUID& other) : CUObject(other), bytes(other.bytes) {}
    MxfUUID& operator=(const MxfUUID& other) {
        bytes = other.bytes;
        return *this;
    }

    bool operator==(const MxfUUID& other) const { return bytes == other.bytes; }
    std::strong_ordering operator<=>(const MxfUUID& other) const { return bytes <=> other.bytes; }

    // "06.0E.2B.34.…": the sixteen bytes in "%02X" joined by ".".
    CUSharedPtr<CUStringWin> Description() const override;

    std::array<uint8_t, kSize> bytes{};
};

// The dotted sixteen-part text of a label or identifier, shared by the key and label types.
std::string MxfLabelText(const std::array<uint8_t, MxfUUID::kSize>& bytes);

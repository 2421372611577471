// ULKey: the 16-byte key of a KLV triplet, kept as it stands in the file, and its classification.
// Compared as 16 raw bytes, like MxfUUID. No lock: a key is a value.
#pragma once

#include <array>
#include <compare>
#include <cstdint>

#include "foundation/CUStringWin.h"
#include "mxf/KLVKind.h"
#include "mxf/MxfUUID.h"

class ULKey : public CUObject {
public:
    static constexpr uint32_t kSize = 16;

    ULKey() = default;  // all zero, which classifies as KLVKindUnknown
    // Copies kSize bytes; null gives the zero key.
    explicit ULKey(const uint8_t* source);
    ULKey(const ULKey& other) : CUObject(other), bytes(other.bytes) {}
    ULKey& operator=(const ULKey& other) {
        bytes = other.bytes;
        return *this;
    }

    bool operator==(const ULKey& other) const { return bytes == other.bytes; }
    std::strong_ordering operator<=>(const ULKey& other) const { return bytes <=> other.bytes; }

    KLVKind GetKind() const;

    // The dotted sixteen-part text, as MxfUUID gives it.
    CUSharedPtr<CUStringWin> Description() const override;

    std::array<uint8_t, kSize> bytes{};
};

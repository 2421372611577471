// UMID: a unique material identifier, 32 bytes (basic) or 64 (extended), as it stands in the
// file. The unused tail of the 64-byte value is always zero, so two UMIDs are alike when their
// lengths and their first `length` bytes are.
// No lock: treat a UMID as immutable once shared. Failures: Set answers MXFErrorArgument.
#pragma once

#include <cstdint>

#include "foundation/CUStringWin.h"

class UMID : public CUObject {
public:
    static constexpr uint32_t kBasicLength = 32;
    static constexpr uint32_t kExtendedLength = 64;

    UMID() = default;  // length 0, all bytes zero

    // Takes `byteCount` bytes, which must be kBasicLength or kExtendedLength. Null bytes or any
    // other length give MXFErrorArgument and change nothing; 0 otherwise.
    uint32_t Set(const uint8_t* source, uint32_t byteCount);

    uint32_t Length() const { return length; }
    const uint8_t* Bytes() const { return value; }
    bool IsEqual(const UMID& other) const;

    // Each valid byte in "%02X", with "." between bytes.
    CUSharedPtr<CUStringWin> Description() const override;

private:
    uint8_t value[kExtendedLength] = {};
    uint32_t length = 0;
};

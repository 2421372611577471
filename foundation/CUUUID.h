// CUUUID: a 16-byte identifier in the platform's GUID layout: a 32-bit, two 16-bit and eight
// byte-wide fields, the first three in host byte order. GetBigEndian gives the wire order.
// No lock: treat an identifier as immutable once shared.
#pragma once

#include <cstdint>

#include "foundation/CUStringWin.h"

struct CUGUID {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
};
static_assert(sizeof(CUGUID) == 16);

// The 4-byte prefix of every SMPTE universal label.
inline constexpr uint32_t CUSMPTELabelPrefix = 0x060E2B34;

class CUUUID : public CUObject {
public:
    CUUUID() = default;  // all zero
    explicit CUUUID(const uint8_t bytes[16]) { SetBytes(bytes); }
    CUUUID(const CUUUID& other) : CUObject(other), guid(other.guid) {}

    // The label 06 0E 2B 34 followed by the three words in big-endian order; the GUID fields hold
    // those sixteen bytes as read in big-endian order.
    static CUSharedPtr<CUUUID> MakeLabel(uint32_t word1, uint32_t word2, uint32_t word3);

    // The object form, a blank, and "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx".
    CUSharedPtr<CUStringWin> Description() const override;

    virtual void GetBytes(uint8_t out[16]) const;
    virtual bool IsEqualToBytes(const uint8_t bytes[16]) const;
    virtual bool IsEqual(const CUUUID& other) const;
    virtual void Assign(const CUUUID& other);
    virtual void GetBigEndian(uint8_t out[16]) const;
    virtual void SetBytes(const uint8_t bytes[16]);

    const CUGUID& Guid() const { return guid; }

private:
    CUGUID guid{};
};

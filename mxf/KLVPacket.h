// KLVPacket: where a KLV triplet lies in a file and what its key is; the base of everything the
// reader parses from a file. A plain KLVPacket knows no key (IsValidKey is false) and parses
// nothing: it serves to read a key and a length, after which a subclass is made from it by the
// copy constructor.
// No lock of its own: a packet is filled by one reader, under that reader's lock. Failures:
// Parse answers 0 or an MXFError code and does not throw (subclass constructors may, see theirs).
#pragma once

#include <cstdint>

#include "foundation/CUStream.h"
#include "mxf/ULKey.h"

class KLVPacket : public virtual CUObject {
public:
    KLVPacket() = default;
    // Copies key, packetOffset, length and valueOffset and nothing of a subclass.
    KLVPacket(const KLVPacket& other);
    KLVPacket& operator=(const KLVPacket& other);

    // Whether `key` is what this class parses.
    virtual bool IsValidKey() const;
    // Reads the value from `stream` at `offset`; this class reads nothing and gives 0.
    virtual uint32_t Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset);
    // Parse at valueOffset.
    virtual uint32_t ParseValue(const CUSharedPtr<CUStream>& stream);

    KLVKind GetKind() const { return key.GetKind(); }

    ULKey key;                  // as read from the file
    uint64_t packetOffset = 0;  // file position of the key's first byte
    uint64_t length = 0;        // value length as decoded
    uint64_t valueOffset = 0;   // file position of the value's first byte
};

// PartitionPack: a header, body or footer partition pack, all its fields as the file gives them.
//
// The reader works out where things lie from three fields, always the same way: the pack and its
// fill take exactly one KAG, so header metadata begins at thisPartition + kagSize, index segments
// behind headerByteCount of it, and essence behind indexByteCount of those.
// No lock: filled by one reader under the file's cursor. Failures: Parse gives 0 or MXFErrorParse
// (a value too short for the fixed fields, or unreadable) and MXFErrorArgument for a null stream.
#pragma once

#include <cstdint>

#include "foundation/CUArray.h"
#include "mxf/KLVPacket.h"
#include "mxf/MxfUUID.h"

class PartitionPack : public KLVPacket {
public:
    PartitionPack() = default;
    explicit PartitionPack(const KLVPacket& packet) : KLVPacket(packet) {}

    // Header, body and footer partitions, open or closed, complete or not.
    bool IsValidKey() const override;
    uint32_t Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) override;

    // Where header metadata, the index segments and the essence of this partition begin; false
    // when the sum does not fit 64 bits.
    bool HeaderMetadataStart(uint64_t* out) const;
    bool IndexStart(uint64_t* out) const;
    bool EssenceStart(uint64_t* out) const;

    uint16_t majorVersion = 0;
    uint16_t minorVersion = 0;
    uint32_t kagSize = 0;
    uint64_t thisPartition = 0;
    uint64_t previousPartition = 0;
    uint64_t footerPartition = 0;
    uint64_t headerByteCount = 0;
    uint64_t indexByteCount = 0;
    uint32_t indexSID = 0;
    uint64_t bodyOffset = 0;
    uint32_t bodySID = 0;
    CUSharedPtr<MxfUUID> operationalPattern;
    CUSharedPtr<CUArray> essenceContainers;  // of MxfUUID
};

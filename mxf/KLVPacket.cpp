#include "mxf/KLVPacket.h"

#include "mxf/MXFError.h"

KLVPacket::KLVPacket(const KLVPacket& other)
    : CUObject(other),
      key(other.key),
      packetOffset(other.packetOffset),
      length(other.length),
      valueOffset(other.valueOffset) {}

KLVPacket& KLVPacket::operator=(const KLVPacket& other) {
    key = other.key;
    packetOffset = other.packetOffset;
    length = other.length;
    valueOffset = other.valueOffset;
    return *this;
}

bool KLVPacket::IsValidKey() const {
    return false;
}

uint32_t KLVPacket::Parse(const CUSharedPtr<CUStream>&, uint64_t) {
    return MXFErrorNone;
}

uint32_t KLVPacket::ParseValue(const CUSharedPtr<CUStream>& stream) {
    return Parse(stream, valueOffset);
}

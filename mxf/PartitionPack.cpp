#include "mxf/PartitionPack.h"

#include "mxf/MXFError.h"
#include "mxf/ParseMetaData.h"

namespace {
// Versions, KAG, five offsets and counts, index SID, body offset, body SID, pattern label.
constexpr uint64_t kFixedFieldBytes = 2 + 2 + 4 + 5 * 8 + 4 + 8 + 4 + 16;

bool Add(uint64_t a, uint64_t b, uint64_t* out) {
    return !__builtin_add_overflow(a, b, out);
}
}  // namespace

bool PartitionPack::IsValidKey() const {
    const KLVKind kind = GetKind();
    return kind == KLVKindHeaderPartition || kind == KLVKindBodyPartition ||
           kind == KLVKindFooterPartition;
}

uint32_t PartitionPack::Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) {
    if (!stream) return MXFErrorArgument;
    if (length < kFixedFieldBytes) return MXFErrorParse;
    ParseMetaData reader(stream);
    reader.SetPosition(offset);
    const bool fields = reader.ReadUInt16(&majorVersion) && reader.ReadUInt16(&minorVersion) &&
                        reader.ReadUInt32(&kagSize) && reader.ReadUInt64(&thisPartition) &&
                        reader.ReadUInt64(&previousPartition) &&
                        reader.ReadUInt64(&footerPartition) &&
                        reader.ReadUInt64(&headerByteCount) && reader.ReadUInt64(&indexByteCount) &&
                        reader.ReadUInt32(&indexSID) && reader.ReadUInt64(&bodyOffset) &&
                        reader.ReadUInt32(&bodySID);
    if (!fields) return MXFErrorParse;
    operationalPattern = reader.ReadUUID();
    if (!operationalPattern) return MXFErrorParse;
    // The batch of essence containers may not reach beyond the pack's own value.
    essenceContainers = reader.ReadUUIDArray(length - kFixedFieldBytes);
    if (!essenceContainers) return MXFErrorParse;
    return MXFErrorNone;
}

bool PartitionPack::HeaderMetadataStart(uint64_t* out) const {
    return Add(thisPartition, kagSize, out);
}

bool PartitionPack::IndexStart(uint64_t* out) const {
    uint64_t metadata = 0;
    return HeaderMetadataStart(&metadata) && Add(metadata, headerByteCount, out);
}

bool PartitionPack::EssenceStart(uint64_t* out) const {
    uint64_t index = 0;
    return IndexStart(&index) && Add(index, indexByteCount, out);
}

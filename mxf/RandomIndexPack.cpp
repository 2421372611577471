#include "mxf/RandomIndexPack.h"

#include "mxf/MXFError.h"
#include "mxf/ParseMetaData.h"

bool RandomIndexPack::IsValidKey() const {
    return GetKind() == KLVKindRandomIndexPack;
}

uint32_t RandomIndexPack::Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) {
    items.clear();
    if (!stream) return MXFErrorArgument;
    ParseMetaData reader(stream);
    reader.SetPosition(offset);
    if (reader.Remaining() < length) return MXFErrorParse;
    for (uint64_t left = length; left >= kItemSize; left -= kItemSize) {
        Item item;
        if (!reader.ReadUInt32(&item.bodySID) || !reader.ReadUInt64(&item.byteOffset)) {
            items.clear();
            return MXFErrorParse;
        }
        items.push_back(item);
    }
    return MXFErrorNone;
}

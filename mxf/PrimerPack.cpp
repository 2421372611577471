#include "mxf/PrimerPack.h"

#include <cstdio>
#include <new>
#include <string>

#include "mxf/MXFError.h"
#include "mxf/ParseMetaData.h"

namespace {
constexpr uint64_t kBatchHeaderSize = 8;  // count and item size, u32 each
}  // namespace

bool PrimerPack::IsValidKey() const {
    return GetKind() == KLVKindPrimerPack;
}

uint32_t PrimerPack::Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) {
    entries.clear();
    if (!stream) return MXFErrorArgument;
    CUSharedPtr<ParseMetaData> reader = CUCreate<ParseMetaData>(stream);
    if (!reader) return MXFErrorMemory;
    reader->SetPosition(offset);
    uint32_t count = 0;
    uint32_t itemSize = 0;
    if (!reader->ReadUInt32(&count) || !reader->ReadUInt32(&itemSize) || count == 0 ||
        itemSize != kItemSize) {
        return MXFErrorNone;
    }
    // The items must lie inside the pack: a count from the file never sends the reader on
    // through the rest of a large file.
    const uint64_t room = length < kBatchHeaderSize ? 0 : (length - kBatchHeaderSize) / kItemSize;
    if (count > room) return MXFErrorParse;
    try {
        for (uint32_t i = 0; i < count; ++i) {
            uint16_t tag = 0;
            uint8_t label[MxfUUID::kSize];
            if (!reader->ReadUInt16(&tag) || !reader->ReadInto(label, sizeof label)) {
                entries.clear();
                return MXFErrorParse;
            }
            entries.emplace(MxfUUID(label), tag);  // a label listed again keeps its first tag
        }
    } catch (const std::bad_alloc&) {
        entries.clear();
        return MXFErrorMemory;
    }
    return MXFErrorNone;
}

bool PrimerPack::GetTag(const MxfUUID& label, uint16_t* out) const {
    const auto found = entries.find(label);
    if (found == entries.end()) return false;
    if (out) *out = found->second;
    return true;
}

CUSharedPtr<CUStringWin> PrimerPack::Description() const {
    std::string text;
    char tag[16];
    for (const auto& [label, value] : entries) {
        std::snprintf(tag, sizeof tag, " = %04X\n", value);
        text += MxfLabelText(label.bytes) + tag;
    }
    return CUCreate<CUStringWin>(text.c_str());
}

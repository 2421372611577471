#include "mxf/StreamFileSequenceInfo.h"

#include "mxf/MXFError.h"
#include "mxf/MXFLocalTags.h"
#include "mxf/ParseMetaData.h"

namespace {
constexpr uint64_t kItemHeaderSize = 4;  // u16 tag, u16 length
}  // namespace

bool StreamFileSequenceInfo::IsValidKey() const {
    return GetKind() == KLVKindStreamFileSequence;
}

uint32_t StreamFileSequenceInfo::Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) {
    if (!stream) return MXFErrorParse;
    CUSharedPtr<ParseMetaData> reader = CUCreate<ParseMetaData>(stream);
    if (!reader) return MXFErrorParse;
    reader->SetPosition(offset);
    uint64_t left = length;
    while (left >= kItemHeaderSize) {
        uint16_t tag = 0, itemLength = 0;
        if (!reader->ReadUInt16(&tag) || !reader->ReadUInt16(&itemLength)) break;
        left -= kItemHeaderSize;
        if (itemLength > left) break;
        const uint64_t next = reader->GetPosition() + itemLength;
        if (tag == mxf_tag::StartPosition || tag == mxf_tag::StartTimecode) {
            int64_t value = 0;
            if (itemLength != 8 || !reader->ReadInt64(&value)) break;
            CUSharedPtr<CUNumber> number = CUCreate<CUNumberConcrete<int64_t>>(value);
            if (!number) return MXFErrorParse;
            (tag == mxf_tag::StartPosition ? startPosition : startTimecode) = number;
        } else if (tag == mxf_tag::InstanceUID) {
            if (itemLength != MxfUUID::kSize || !(instanceUID = reader->ReadUUID())) break;
        } else if (tag == mxf_tag::PackageUID) {
            if (itemLength != UMID::kBasicLength) break;
            packageUID = reader->ReadUMID();
            if (!packageUID) break;
        }
        reader->SetPosition(next);
        left -= itemLength;
    }
    return MXFErrorNone;
}

#include "mxf/IndexTableSegment.h"

#include <cstdio>
#include <string>
#include <vector>

#include "foundation/CUAutoLock.h"
#include "mxf/LocalSets.h"
#include "mxf/MXFError.h"
#include "mxf/MXFLocalTags.h"

namespace {
constexpr uint64_t kBatchHeaderSize = 8;  // count and item size, u32 each
constexpr uint64_t kTemporalField = 0;
constexpr uint64_t kKeyFrameField = 1;
constexpr uint64_t kFlagsField = 2;
constexpr uint64_t kStreamOffsetField = 3;
constexpr uint64_t kSliceOffsetsField = 11;
constexpr uint64_t kPosTableEntrySize = 8;
constexpr uint64_t kSliceOffsetSize = 4;

// The item's cursor when the item holds at least `size` bytes, so that a short item never reads
// into the next one.
CUSharedPtr<ParseMetaData> Item(LocalSets& set, uint32_t tag, uint64_t size) {
    LocalSetItem item;
    if (!set.FindItem(tag, &item) || item.length < size) return nullptr;
    return set.GetItem(tag);
}
}  // namespace

bool IndexTableSegment::IsValidKey() const {
    return GetKind() == KLVKindIndexTableSegment;
}

void IndexTableSegment::Clear() {
    indexEditRate = {};
    indexStartPosition = indexDuration = 0;
    editUnitByteCount = indexSID = bodySID = 0;
    sliceCount = posTableCount = 0;
    deltaEntries.clear();
    entrySize = 0;
    entryData = nullptr;
    entryParser = nullptr;
}

uint32_t IndexTableSegment::Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) {
    Clear();
    CUSharedPtr<LocalSets> set = CUCreate<LocalSets>(static_cast<const KLVPacket&>(*this));
    if (!set || set->Parse(stream, offset) != MXFErrorNone) return MXFErrorParse;
    CUAutoLock guard(set.Get());

    CUSharedPtr<ParseMetaData> p;
    const bool required =
        (p = Item(*set, mxf_tag::IndexEditRate, 8)) && p->ReadRational(&indexEditRate) &&
        (p = Item(*set, mxf_tag::IndexStartPosition, 8)) && p->ReadInt64(&indexStartPosition) &&
        (p = Item(*set, mxf_tag::IndexDuration, 8)) && p->ReadInt64(&indexDuration) &&
        (p = Item(*set, mxf_tag::EditUnitByteCount, 4)) && p->ReadUInt32(&editUnitByteCount) &&
        (p = Item(*set, mxf_tag::IndexSID, 4)) && p->ReadUInt32(&indexSID) &&
        (p = Item(*set, mxf_tag::BodySID, 4)) && p->ReadUInt32(&bodySID) &&
        (p = Item(*set, mxf_tag::SliceCount, 1)) && p->ReadUInt8(&sliceCount);
    if (!required) {
        Clear();
        return MXFErrorParse;
    }
    if (set->HasItem(mxf_tag::PosTableCount)) {
        p = Item(*set, mxf_tag::PosTableCount, 1);
        if (!p || !p->ReadUInt8(&posTableCount)) {
            Clear();
            return MXFErrorParse;
        }
    }

    // Delta entries: a segment without them, or with a bad batch, simply has fewer.
    LocalSetItem item;
    if (set->FindItem(mxf_tag::DeltaEntryArray, &item) &&
        (p = set->GetItem(mxf_tag::DeltaEntryArray))) {
        uint32_t count = 0, size = 0;
        if (item.length >= kBatchHeaderSize && p->ReadUInt32(&count) && p->ReadUInt32(&size) &&
            size == kDeltaEntrySize && count <= (item.length - kBatchHeaderSize) / size) {
            for (uint32_t i = 0; i < count; ++i) {
                DeltaEntry entry;
                if (!p->ReadInt8(&entry.posTableIndex) || !p->ReadUInt8(&entry.slice) ||
                    !p->ReadUInt32(&entry.elementDelta))
                    break;
                deltaEntries.push_back(entry);
            }
        }
    }

    // Index entries: the count must not be 0, the item size must match the slices and position
    // tables, and the item must hold exactly the batch.
    const uint64_t wantedSize =
        kEntryFixedSize + kSliceOffsetSize * sliceCount + kPosTableEntrySize * posTableCount;
    if (set->FindItem(mxf_tag::IndexEntryArray, &item) && item.length >= kBatchHeaderSize &&
        (p = set->GetItem(mxf_tag::IndexEntryArray))) {
        uint32_t count = 0, size = 0;
        if (p->ReadUInt32(&count) && p->ReadUInt32(&size) && count != 0 && size == wantedSize &&
            (item.length - kBatchHeaderSize) / size == count &&
            (item.length - kBatchHeaderSize) % size == 0) {
            entrySize = size;
            const uint64_t bytes = static_cast<uint64_t>(count) * size;
            entryData = CUMemoryStream::CreateFromStream(
                CUSharedPtr<CUStream>(set->GetData()),
                CURange{static_cast<int64_t>(item.offset + kBatchHeaderSize),
                        static_cast<int64_t>(bytes)});
            if (entryData) entryParser = CUCreate<ParseMetaData>(CUSharedPtr<CUStream>(entryData));
        }
    }
    if (!entryParser) {
        Clear();
        return MXFErrorParse;
    }
    return MXFErrorNone;
}

bool IndexTableSegment::Contains(int64_t frame) const {
    int64_t relative = 0;
    return frame >= indexStartPosition &&
           !__builtin_sub_overflow(frame, indexStartPosition, &relative) &&
           relative < indexDuration;
}

bool IndexTableSegment::SeekEntry(int64_t frame, uint64_t field) {
    if (!entryParser || !Contains(frame)) return false;
    const auto unit = static_cast<uint64_t>(frame - indexStartPosition);
    uint64_t at = 0;
    if (__builtin_mul_overflow(unit, entrySize, &at) || __builtin_add_overflow(at, field, &at))
        return false;
    entryParser->SetPosition(at);
    return true;
}

template <class T>
bool IndexTableSegment::ReadEntryField(int64_t frame, uint64_t field,
                                       bool (ParseMetaData::*reader)(T*), T* out) {
    if (!entryParser) return false;
    CUAutoLock guard(entryParser.Get());
    return SeekEntry(frame, field) && ((*entryParser).*reader)(out);
}

bool IndexTableSegment::GetTemporalOffset(int64_t frame, int8_t* out) {
    return ReadEntryField(frame, kTemporalField, &ParseMetaData::ReadInt8, out);
}

bool IndexTableSegment::GetKeyFrameOffset(int64_t frame, int8_t* out) {
    return ReadEntryField(frame, kKeyFrameField, &ParseMetaData::ReadInt8, out);
}

bool IndexTableSegment::GetEntryFlags(int64_t frame, uint8_t* out) {
    return ReadEntryField(frame, kFlagsField, &ParseMetaData::ReadUInt8, out);
}

bool IndexTableSegment::GetElementOffset(int64_t frame, uint32_t element, uint64_t* out) {
    if (!out || !entryParser) return false;
    CUAutoLock guard(entryParser.Get());
    uint64_t streamOffset = 0;
    if (!SeekEntry(frame, kStreamOffsetField) || !entryParser->ReadUInt64(&streamOffset))
        return false;
    if (element == 0 && deltaEntries.empty()) {
        *out = streamOffset;
        return true;
    }
    if (element >= deltaEntries.size()) return false;
    const DeltaEntry& delta = deltaEntries[element];
    uint32_t sliceOffset = 0;
    // Slice 0 starts at the stream offset; slice n at Slice Offset n - 1.
    if (delta.slice != 0 && delta.slice <= sliceCount) {
        if (!SeekEntry(frame, kSliceOffsetsField + kSliceOffsetSize * (delta.slice - 1u)) ||
            !entryParser->ReadUInt32(&sliceOffset))
            return false;
    }
    *out = streamOffset + sliceOffset + delta.elementDelta;
    return true;
}

CUSharedPtr<CUStringWin> IndexTableSegment::Description() const {
    std::string text = "{\n";
    if (entryParser && entrySize != 0) {
        CUAutoLock guard(entryParser.Get());
        for (int64_t unit = 0; unit < indexDuration; ++unit) {
            int8_t temporal = 0, keyFrame = 0;
            uint8_t flags = 0;
            uint64_t streamOffset = 0;
            entryParser->SetPosition(static_cast<uint64_t>(unit) * entrySize);
            if (!entryParser->ReadInt8(&temporal) || !entryParser->ReadInt8(&keyFrame) ||
                !entryParser->ReadUInt8(&flags) || !entryParser->ReadUInt64(&streamOffset))
                break;
            char line[96];
            std::snprintf(line, sizeof line, "\t{UNIT(%lld) = T:%d K:%d F:%02hhX O:",
                          static_cast<long long>(indexStartPosition + unit), temporal, keyFrame,
                          flags);
            text += line;
            std::vector<uint64_t> offsets{streamOffset};
            for (uint32_t s = 0; s < sliceCount; ++s) {
                uint32_t slice = 0;
                if (!entryParser->ReadUInt32(&slice)) break;
                offsets.push_back(slice);
            }
            for (size_t i = 0; i < offsets.size(); ++i) {
                std::snprintf(line, sizeof line, offsets[i] < (1ull << 32) ? "%08llX" : "%016llX",
                              static_cast<unsigned long long>(offsets[i]));
                if (i) text += ", ";
                text += line;
            }
            text += "}\n";
        }
    }
    text += "}";
    return CUCreate<CUStringWin>(text.c_str());
}

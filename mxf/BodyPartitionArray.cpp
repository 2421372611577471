#include "mxf/BodyPartitionArray.h"

#include <cstdio>
#include <string>

#include "mxf/MXFError.h"
#include "mxf/RandomIndexPack.h"

uint32_t BodyPartitionArray::LoadFromRandomIndexPack(const RandomIndexPack* pack) {
    if (!pack) return MXFErrorArgument;
    entries.clear();
    for (const RandomIndexPack::Item& item : pack->items) {
        if (item.bodySID != kBodySID) continue;
        BodyPartitionEntry entry;
        entry.flags = BodyPartitionEntry::kFileOffsetKnown;
        entry.fileOffset = item.byteOffset;
        entries.push_back(std::move(entry));
    }
    return MXFErrorNone;
}

void BodyPartitionArray::InsertAtFront(uint64_t fileOffset) {
    BodyPartitionEntry entry;
    entry.flags = BodyPartitionEntry::kFileOffsetKnown;
    entry.fileOffset = fileOffset;
    entries.insert(entries.begin(), std::move(entry));
}

bool BodyPartitionArray::GetFileOffset(uint64_t index, uint64_t* out) const {
    if (index >= entries.size() || !out) return false;
    *out = entries[index].fileOffset;
    return true;
}

bool BodyPartitionArray::GetFlags(uint64_t index, uint8_t* out) const {
    if (index >= entries.size() || !out) return false;
    *out = entries[index].flags;
    return true;
}

CURange BodyPartitionArray::GetSegmentRange(uint64_t partition, uint32_t number) const {
    if (partition < entries.size()) {
        auto found = entries[partition].segments.find(number);
        if (found != entries[partition].segments.end() && found->second)
            return {found->second->indexStartPosition, found->second->indexDuration};
    }
    return {CUNotFound, 0};
}

uint32_t BodyPartitionArray::AddSegment(uint64_t partition, uint32_t number,
                                        CUSharedPtr<IndexTableSegment> segment) {
    if (!segment || partition >= entries.size()) return 1;
    BodyPartitionEntry& entry = entries[partition];
    if (!entry.segments.emplace(number, std::move(segment)).second) return 1;
    entry.flags |= BodyPartitionEntry::kSegmentHeld;
    return 0;
}

uint32_t BodyPartitionArray::FindSegment(int64_t frame, uint64_t* outPartition,
                                         uint32_t* outNumber) const {
    for (uint64_t p = 0; p < entries.size(); ++p) {
        const auto& segments = entries[p].segments;
        auto first = segments.find(0);
        if (first == segments.end() || !first->second) continue;
        const IndexTableSegment& zero = *first->second;
        int64_t relative = 0;
        if (zero.indexDuration <= 0 ||
            __builtin_sub_overflow(frame, zero.indexStartPosition, &relative))
            continue;
        const int64_t candidate = relative / zero.indexDuration;  // rounds toward zero
        if (candidate < 0 || candidate > UINT32_MAX) continue;
        auto found = segments.find(static_cast<uint32_t>(candidate));
        if (found == segments.end() || !found->second || !found->second->Contains(frame)) continue;
        if (outPartition) *outPartition = p;
        if (outNumber) *outNumber = static_cast<uint32_t>(candidate);
        return 1;
    }
    return 0;
}

IndexTableSegment* BodyPartitionArray::FindUsableSegment(int64_t frame,
                                                         const BodyPartitionEntry** entry) const {
    uint64_t partition = 0;
    uint32_t number = 0;
    if (!FindSegment(frame, &partition, &number)) return nullptr;
    const BodyPartitionEntry& found = entries[partition];
    if (found.flags != BodyPartitionEntry::kUsable) return nullptr;
    if (entry) *entry = &found;
    return found.segments.at(number).Get();
}

uint32_t BodyPartitionArray::GetFrameTemporalOffset(int64_t frame, int8_t* out) const {
    IndexTableSegment* segment = FindUsableSegment(frame, nullptr);
    return segment && segment->GetTemporalOffset(frame, out) ? 1 : 0;
}

uint32_t BodyPartitionArray::GetFrameKeyFrameOffset(int64_t frame, int8_t* out) const {
    IndexTableSegment* segment = FindUsableSegment(frame, nullptr);
    return segment && segment->GetKeyFrameOffset(frame, out) ? 1 : 0;
}

uint32_t BodyPartitionArray::GetFrameFlags(int64_t frame, uint8_t* out) const {
    IndexTableSegment* segment = FindUsableSegment(frame, nullptr);
    return segment && segment->GetEntryFlags(frame, out) ? 1 : 0;
}

uint32_t BodyPartitionArray::GetEntry(int64_t frame, int8_t* outTemporal, int8_t* outKeyFrame,
                                      uint8_t* outFlags) const {
    IndexTableSegment* segment = FindUsableSegment(frame, nullptr);
    return segment && segment->GetTemporalOffset(frame, outTemporal) &&
                   segment->GetKeyFrameOffset(frame, outKeyFrame) &&
                   segment->GetEntryFlags(frame, outFlags)
               ? 1
               : 0;
}

uint32_t BodyPartitionArray::GetElementFileOffset(int64_t frame, uint32_t element,
                                                  uint64_t* out) const {
    const BodyPartitionEntry* entry = nullptr;
    IndexTableSegment* segment = FindUsableSegment(frame, &entry);
    uint64_t streamOffset = 0;
    if (!segment || !out || !segment->GetElementOffset(frame, element, &streamOffset)) return 0;
    // Unsigned arithmetic wraps by definition; whoever reads there checks the offset against the
    // file's size.
    *out = entry->essenceOffset - entry->bodyOffset + streamOffset;
    return 1;
}

CUSharedPtr<CUStringWin> BodyPartitionArray::Description() const {
    std::string text = "{\n";
    char line[128];
    for (const BodyPartitionEntry& entry : entries) {
        std::snprintf(line, sizeof line,
                      "fileOffset = %016llX, streamOffset = %016llX, essenceOffset = %016llX\n",
                      static_cast<unsigned long long>(entry.fileOffset),
                      static_cast<unsigned long long>(entry.bodyOffset),
                      static_cast<unsigned long long>(entry.essenceOffset));
        text += line;
    }
    text += "}";
    return CUCreate<CUStringWin>(text.c_str());
}

// IndexSegmentWriter: index table segments of one clip. All segments share the edit rate, the
// delta entries and the slice count; an entry is 11 bytes plus 4 per slice, and a segment's entry
// array is one local-set item, which bounds the entries of a segment (MaxEntries). Every segment
// of a clip with the same number of entries has the same size, so that segments stand at a fixed
// stride when they follow each other.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "mxf/MXFLabels.h"
#include "tools/qvclip/synth/ByteBuffer.h"

namespace synth {

struct IndexEntry {
    int8_t temporalOffset = 0;  // of the edit unit in display order
    int8_t keyFrameOffset = 0;  // from the stored edit unit back to its key frame
    uint8_t flags = 0;
    uint64_t streamOffset = 0;
    std::vector<uint32_t> sliceOffsets;  // from the content package's start, slices 1 on
};

struct DeltaEntry {
    uint8_t slice = 0;
    uint32_t delta = 0;  // from the start of the slice
};

class IndexSegmentWriter {
public:
    IndexSegmentWriter(uint32_t rateNumerator, uint32_t rateDenominator,
                       std::vector<DeltaEntry> deltas, uint8_t sliceCount);

    uint32_t EntrySize() const { return 11 + 4u * sliceCount; }
    uint32_t MaxEntries() const;
    uint64_t SegmentSize(uint64_t entryCount) const;
    // One segment as a KLV: the entries of edit units from `start` on.
    void Append(ByteBuffer& out, const mxf_label::Label& instanceUID, int64_t start,
                std::span<const IndexEntry> entries) const;

private:
    uint32_t rateNumerator, rateDenominator;
    std::vector<DeltaEntry> deltas;
    uint8_t sliceCount;
};

}  // namespace synth

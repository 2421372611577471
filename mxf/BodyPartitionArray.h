// BodyPartitionArray: the partitions of a file that carry essence of Body SID 2, in file order,
// with the offsets that turn a stream offset into a file offset and the index segments loaded
// for each so far.
//
// Look-ups (FindSegment and the frame getters) answer 1 when found, 0 when not; they need an
// entry whose offsets are known and that holds a segment (flags 15), and divide by the duration of
// segment 0, so a partition whose first segment says 0 frames simply finds nothing.
// Threads: no lock of its own. It is used under the file's cursor lock, or under the clip's lock
// that the stream manager holds around every clip operation.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "foundation/CUStringWin.h"
#include "mxf/IndexTableSegment.h"

class RandomIndexPack;

struct BodyPartitionEntry {
    enum : uint8_t {
        kFileOffsetKnown = 1,
        kBodyOffsetKnown = 2,
        kEssenceOffsetKnown = 4,
        kSegmentHeld = 8,
        kUsable = 15,
    };
    uint8_t flags = 0;
    uint64_t fileOffset = 0;     // where the partition pack stands
    uint64_t bodyOffset = 0;     // the stream offset of the partition's first essence byte
    uint64_t essenceOffset = 0;  // where that byte stands in the file
    std::map<uint32_t, CUSharedPtr<IndexTableSegment>> segments;
};

class BodyPartitionArray : public CUObject {
public:
    // The essence stream this reader plays.
    static constexpr uint32_t kBodySID = 2;

    // One entry for each item of the pack with Body SID 2, in the pack's order.
    uint32_t LoadFromRandomIndexPack(const RandomIndexPack* pack);
    void InsertAtFront(uint64_t fileOffset);
    bool GetFileOffset(uint64_t index, uint64_t* out) const;
    bool GetFlags(uint64_t index, uint8_t* out) const;

    // The segment's start and duration; location CUNotFound when there is no such segment.
    CURange GetSegmentRange(uint64_t partition, uint32_t number) const;
    // 0, or 1 for a null segment, a bad partition, or a number held already (the old one stands).
    uint32_t AddSegment(uint64_t partition, uint32_t number,
                        CUSharedPtr<IndexTableSegment> segment);
    uint32_t FindSegment(int64_t frame, uint64_t* outPartition, uint32_t* outNumber) const;

    uint32_t GetFrameTemporalOffset(int64_t frame, int8_t* out) const;
    uint32_t GetFrameKeyFrameOffset(int64_t frame, int8_t* out) const;
    uint32_t GetFrameFlags(int64_t frame, uint8_t* out) const;
    uint32_t GetEntry(int64_t frame, int8_t* outTemporal, int8_t* outKeyFrame,
                      uint8_t* outFlags) const;
    // essenceOffset - bodyOffset + the element's stream offset.
    uint32_t GetElementFileOffset(int64_t frame, uint32_t element, uint64_t* out) const;

    uint64_t Count() const { return entries.size(); }

    // "{\n", each entry's offsets, "}".
    CUSharedPtr<CUStringWin> Description() const override;

    std::vector<BodyPartitionEntry> entries;
    uint64_t segmentStride = 0;  // in a header-held index: from one segment to the next

private:
    // The usable segment holding `frame`, or null.
    IndexTableSegment* FindUsableSegment(int64_t frame, const BodyPartitionEntry** entry) const;
};

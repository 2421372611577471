// MXFStream: the reader of one MXF file. It opens the file from its end backwards (Random Index
// Pack or partition chain, header partition, header metadata, first track), finds frames on
// demand through index segments loaded a partition at a time, and delivers one element of a
// frame's content package. All reads go through a CacheFileStream.
//
// Only the essence stream with Body SID 2 counts. A frame is one edit unit; elements are numbered
// as the delta entries number them: 0 system item, 1 picture, 2 and up sound, the last data.
// Threads: `parser` is the one cursor of the file and the object's lock; every operation holds it
// from start to end, so one file can be read from several threads.
// Failures: operations give 0 or MXFErrorParse; reads give the bytes delivered (0 on any
// failure). The constructor throws the narrow string "MXFStream init error" for a null path or
// exhaustion; a file that cannot be opened does not fail there, its reads fail later.
#pragma once

#include <cstdint>

#include "foundation/CUArray.h"
#include "foundation/CUStringWin.h"
#include "foundation/CUVector.h"
#include "mxf/BodyPartitionArray.h"
#include "mxf/HeaderMetadata.h"
#include "mxf/ParseMetaData.h"
#include "mxf/PartitionPack.h"
#include "mxf/RandomIndexPack.h"
#include "mxf/StreamFileSequenceInfo.h"

class MXFStream : public CUObject {
public:
    // Rounds of the partition search before EnsureIndex gives up.
    static constexpr int kMaxIndexSearchRounds = 100;

    explicit MXFStream(const CUSharedPtr<CUStringWin>& path);

    // The opening order: Random Index Pack or partition chain, header partition, header
    // metadata, first track. 0 or MXFErrorParse.
    uint32_t Open();

    uint32_t LoadRandomIndexPack();
    uint32_t LoadHeaderPartition();
    uint32_t LoadPartitionChain();
    // 0 when the offsets were taken, 1 when the pack disagrees with the stored offset.
    uint32_t LoadPartitionOffsets(uint64_t index);
    uint32_t LoadHeaderMetadata();

    uint32_t EnsureIndex(uint64_t frame);
    uint32_t LoadPartitionIndex(int64_t partition);
    // The index segments of the partition at `offset`; null when its pack cannot be read.
    CUSharedPtr<CUMutableArray> ReadIndexSegments(uint64_t offset);
    uint32_t LoadSegmentForFrame(uint64_t frame);

    // Look-ups: 1 found, 0 not (also for a frame at or beyond frameCount).
    uint32_t GetFrameFlags(uint64_t frame, uint8_t* out);
    uint32_t GetFrameEntry(uint64_t frame, int8_t* outTemporal, int8_t* outKeyFrame,
                           uint8_t* outFlags);
    // The file offset of an element's KLV.
    uint32_t GetElementFileOffset(uint64_t frame, uint32_t element, uint64_t* out);

    // The element's value into `buffer` (a system pack with its package metadata set behind it);
    // the bytes delivered, 0 when it cannot be found or does not fit in `size`.
    uint64_t ReadElement(uint64_t frame, uint32_t element, void* buffer, uint64_t size);
    // The data element (the last track's) when its key is plain essence; an empty vector otherwise.
    CUSharedPtr<CUVector<unsigned char>> ReadDataElement(uint64_t frame);

    CUSharedPtr<ParseMetaData> parser;
    CUSharedPtr<CUStream> stream;
    uint64_t frameCount = 0;
    CUSharedPtr<PartitionPack> headerPartition;
    CUSharedPtr<BodyPartitionArray> bodyPartitions;
    CUSharedPtr<HeaderMetadata> headerMetadata;
    CUSharedPtr<RandomIndexPack> randomIndexPack;
    CUSharedPtr<KLVPacket> scratchPacket;
    CUSharedPtr<StreamFileSequenceInfo> sequenceInfo;
    uint32_t isRGB = 0;

private:
    // Moves the cursor to `offset` when it lies inside the stream; false (and no move) otherwise.
    bool SeekTo(uint64_t offset);
    uint64_t StreamSize() const;
    // The look-up pattern: ask the partitions; if they don't know, load the index and ask again.
    template <class Ask>
    uint32_t LookUp(uint64_t frame, Ask ask);
    // A partition pack read at `offset`, or null.
    CUSharedPtr<PartitionPack> ReadPartitionPack(uint64_t offset);
};

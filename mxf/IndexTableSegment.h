// IndexTableSegment: one index table segment of a partition: the frames it covers, the delta
// entries that pick an element inside a content package, and a private copy of its index entries.
//
// An entry is entrySize bytes: temporal offset (i8), key-frame offset (i8), flags (u8), stream
// offset (u64), one u32 offset per slice, then the position table, which is not read.
// Threads: the segment's lock is `entryParser`; each getter holds it for its read, so one segment
// may be asked from several threads. Failures: Parse gives 0 or MXFErrorParse, with every field
// cleared; a segment without index entries (a constant-bit-rate index) does not parse. Getters
// give false for a frame outside the segment or a read that fails.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/CUMemoryStream.h"
#include "mxf/KLVPacket.h"
#include "mxf/ParseMetaData.h"

struct DeltaEntry {
    int8_t posTableIndex = 0;
    uint8_t slice = 0;
    uint32_t elementDelta = 0;
};

class IndexTableSegment : public KLVPacket {
public:
    static constexpr uint32_t kDeltaEntrySize = 6;
    static constexpr uint32_t kEntryFixedSize = 11;  // temporal, key-frame, flags, stream offset

    IndexTableSegment() = default;
    explicit IndexTableSegment(const KLVPacket& packet) : KLVPacket(packet) {}

    bool IsValidKey() const override;
    uint32_t Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) override;

    bool Contains(int64_t frame) const;
    bool GetTemporalOffset(int64_t frame, int8_t* out);
    bool GetKeyFrameOffset(int64_t frame, int8_t* out);
    bool GetEntryFlags(int64_t frame, uint8_t* out);
    // The stream offset of `element` of the frame's content package.
    bool GetElementOffset(int64_t frame, uint32_t element, uint64_t* out);

    // "{\n", then "\t{UNIT(n) = T:t K:k F:ff O:offsets}\n" for each unit, "}".
    CUSharedPtr<CUStringWin> Description() const override;

    MXFRational indexEditRate;
    int64_t indexStartPosition = 0;
    int64_t indexDuration = 0;
    uint32_t editUnitByteCount = 0;
    uint32_t indexSID = 0;
    uint32_t bodySID = 0;
    uint8_t sliceCount = 0;
    uint8_t posTableCount = 0;
    std::vector<DeltaEntry> deltaEntries;
    uint32_t entrySize = 0;
    CUSharedPtr<CUMemoryStream> entryData;
    CUSharedPtr<ParseMetaData> entryParser;

private:
    void Clear();
    // Places the entry cursor at `field` bytes into the frame's entry; false outside the segment.
    bool SeekEntry(int64_t frame, uint64_t field);
    template <class T>
    bool ReadEntryField(int64_t frame, uint64_t field, bool (ParseMetaData::*reader)(T*), T* out);
};

#include "tools/qvclip/synth/IndexSegmentWriter.h"

#include <set>
#include <stdexcept>
#include <utility>

#include "mxf/MXFLocalTags.h"
#include "tools/qvclip/synth/HeaderMetadataWriter.h"
#include "tools/qvclip/synth/KLVWriter.h"
#include "tools/qvclip/synth/LocalSetWriter.h"

namespace synth {

namespace {
constexpr uint32_t BatchHead = 8;  // count and item size
constexpr uint32_t DeltaEntrySize = 6;
constexpr uint32_t ItemLimit = UINT16_MAX;
}  // namespace

IndexSegmentWriter::IndexSegmentWriter(uint32_t rateNumerator, uint32_t rateDenominator,
                                       std::vector<DeltaEntry> deltas, uint8_t sliceCount)
    : rateNumerator(rateNumerator),
      rateDenominator(rateDenominator),
      deltas(std::move(deltas)),
      sliceCount(sliceCount) {}

uint32_t IndexSegmentWriter::MaxEntries() const {
    return (ItemLimit - BatchHead) / EntrySize();
}

uint64_t IndexSegmentWriter::SegmentSize(uint64_t entryCount) const {
    // Items of 4 bytes of tag and length: InstanceUID, edit rate, start, duration, byte count,
    // the two stream ids, slice count, delta array and entry array.
    const uint64_t value = (4 + 16) + (4 + 8) + (4 + 8) + (4 + 8) + (4 + 4) + 2 * (4 + 4) +
                           (4 + 1) + (4 + BatchHead + DeltaEntrySize * deltas.size()) +
                           (4 + BatchHead + EntrySize() * entryCount);
    return KLVSize(value);
}

void IndexSegmentWriter::Append(ByteBuffer& out, const mxf_label::Label& instanceUID, int64_t start,
                                std::span<const IndexEntry> entries) const {
    if (entries.size() > MaxEntries()) throw std::logic_error("an index segment too long");
    ByteBuffer deltaArray;
    deltaArray.U32(static_cast<uint32_t>(deltas.size()));
    deltaArray.U32(DeltaEntrySize);
    for (const DeltaEntry& d : deltas) {
        deltaArray.U8(0);  // no position table
        deltaArray.U8(d.slice);
        deltaArray.U32(d.delta);
    }
    ByteBuffer entryArray;
    entryArray.U32(static_cast<uint32_t>(entries.size()));
    entryArray.U32(EntrySize());
    for (const IndexEntry& e : entries) {
        entryArray.U8(static_cast<uint8_t>(e.temporalOffset));
        entryArray.U8(static_cast<uint8_t>(e.keyFrameOffset));
        entryArray.U8(e.flags);
        entryArray.U64(e.streamOffset);
        if (e.sliceOffsets.size() != sliceCount) throw std::logic_error("slice offsets missing");
        for (uint32_t offset : e.sliceOffsets) entryArray.U32(offset);
    }
    std::set<uint16_t> used;
    LocalSetWriter(used)
        .Label(mxf_tag::InstanceUID, instanceUID)
        .Rational(mxf_tag::IndexEditRate, static_cast<int32_t>(rateNumerator),
                  static_cast<int32_t>(rateDenominator))
        .I64(mxf_tag::IndexStartPosition, start)
        .I64(mxf_tag::IndexDuration, static_cast<int64_t>(entries.size()))
        .U32(mxf_tag::EditUnitByteCount, 0)  // variable: every edit unit has its entry
        .U32(mxf_tag::IndexSID, EssenceIndexSID)
        .U32(mxf_tag::BodySID, EssenceBodySID)
        .U8(mxf_tag::SliceCount, sliceCount)
        .Raw(mxf_tag::DeltaEntryArray, deltaArray.Data())
        .Raw(mxf_tag::IndexEntryArray, entryArray.Data())
        .AppendTo(out, mxf_label::IndexTableSegment);
}

}  // namespace synth

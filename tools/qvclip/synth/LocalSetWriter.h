// LocalSetWriter: the value of one local set with 2-byte tags and 2-byte lengths, item by item,
// noting every tag it writes in the caller's set so that the primer can cover them all.
// Adding an item whose value is 64 KiB or more throws std::length_error.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "mxf/MXFLabels.h"
#include "tools/qvclip/synth/ByteBuffer.h"
#include "tools/qvclip/synth/ClipPlan.h"
#include "tools/qvclip/synth/UIDMaker.h"

namespace synth {

class LocalSetWriter {
public:
    explicit LocalSetWriter(std::set<uint16_t>& usedTags) : used(usedTags) {}

    LocalSetWriter& U8(uint16_t tag, uint8_t value);
    LocalSetWriter& U16(uint16_t tag, uint16_t value);
    LocalSetWriter& U32(uint16_t tag, uint32_t value);
    LocalSetWriter& I64(uint16_t tag, int64_t value);
    LocalSetWriter& Rational(uint16_t tag, int32_t numerator, int32_t denominator);
    LocalSetWriter& Label(uint16_t tag, const mxf_label::Label& label);
    LocalSetWriter& UMID(uint16_t tag, const UMIDBytes& umid);
    LocalSetWriter& Timestamp(uint16_t tag, const ClipDate& date);
    // A batch: count and item size as u32, then the items.
    LocalSetWriter& Batch(uint16_t tag, const std::vector<mxf_label::Label>& labels);
    LocalSetWriter& Int32Batch(uint16_t tag, const std::vector<int32_t>& values);
    // Big-endian UTF-16 of ASCII text.
    LocalSetWriter& Text(uint16_t tag, std::string_view ascii);
    LocalSetWriter& Raw(uint16_t tag, std::span<const uint8_t> bytes);

    // The set as a KLV with `key`.
    void AppendTo(ByteBuffer& out, const mxf_label::Label& key) const;

private:
    std::set<uint16_t>& used;
    ByteBuffer value;
};

}  // namespace synth

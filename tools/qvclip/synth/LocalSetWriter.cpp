#include "tools/qvclip/synth/LocalSetWriter.h"

#include <stdexcept>

#include "tools/qvclip/synth/KLVWriter.h"

namespace synth {

LocalSetWriter& LocalSetWriter::Raw(uint16_t tag, std::span<const uint8_t> bytes) {
    if (bytes.size() > UINT16_MAX) throw std::length_error("a local-set item of 64 KiB or more");
    used.insert(tag);
    value.U16(tag);
    value.U16(static_cast<uint16_t>(bytes.size()));
    value.Bytes(bytes);
    return *this;
}

LocalSetWriter& LocalSetWriter::U8(uint16_t tag, uint8_t v) {
    const uint8_t bytes[] = {v};
    return Raw(tag, bytes);
}

LocalSetWriter& LocalSetWriter::U16(uint16_t tag, uint16_t v) {
    ByteBuffer b;
    b.U16(v);
    return Raw(tag, b.Data());
}

LocalSetWriter& LocalSetWriter::U32(uint16_t tag, uint32_t v) {
    ByteBuffer b;
    b.U32(v);
    return Raw(tag, b.Data());
}

LocalSetWriter& LocalSetWriter::I64(uint16_t tag, int64_t v) {
    ByteBuffer b;
    b.I64(v);
    return Raw(tag, b.Data());
}

LocalSetWriter& LocalSetWriter::Rational(uint16_t tag, int32_t numerator, int32_t denominator) {
    ByteBuffer b;
    b.I32(numerator);
    b.I32(denominator);
    return Raw(tag, b.Data());
}

LocalSetWriter& LocalSetWriter::Label(uint16_t tag, const mxf_label::Label& label) {
    return Raw(tag, label);
}

LocalSetWriter& LocalSetWriter::UMID(uint16_t tag, const UMIDBytes& umid) {
    return Raw(tag, umid);
}

LocalSetWriter& LocalSetWriter::Timestamp(uint16_t tag, const ClipDate& d) {
    ByteBuffer b;
    b.U16(static_cast<uint16_t>(d.year));
    for (uint32_t part : {d.month, d.day, d.hour, d.minute, d.second, 0u})
        b.U8(static_cast<uint8_t>(part));
    return Raw(tag, b.Data());
}

LocalSetWriter& LocalSetWriter::Batch(uint16_t tag, const std::vector<mxf_label::Label>& labels) {
    ByteBuffer b;
    b.U32(static_cast<uint32_t>(labels.size()));
    b.U32(KeySize);
    for (const auto& label : labels) b.Bytes(label);
    return Raw(tag, b.Data());
}

LocalSetWriter& LocalSetWriter::Int32Batch(uint16_t tag, const std::vector<int32_t>& values) {
    ByteBuffer b;
    b.U32(static_cast<uint32_t>(values.size()));
    b.U32(4);
    for (int32_t v : values) b.I32(v);
    return Raw(tag, b.Data());
}

LocalSetWriter& LocalSetWriter::Text(uint16_t tag, std::string_view ascii) {
    ByteBuffer b;
    for (char c : ascii) b.U16(static_cast<uint8_t>(c));
    return Raw(tag, b.Data());
}

void LocalSetWriter::AppendTo(ByteBuffer& out, const mxf_label::Label& key) const {
    AppendKLV(out, key, value.Data());
}

}  // namespace synth

#include "tools/qvclip/synth/KLVWriter.h"

#include <stdexcept>

namespace synth {

namespace {
constexpr uint64_t ThreeByteLimit = uint64_t{1} << 24;
constexpr uint64_t FourByteLimit = uint64_t{1} << 32;
}  // namespace

uint64_t BERSize(uint64_t length) {
    if (length >= FourByteLimit) throw std::length_error("a KLV value of 4 GiB or more");
    return length < ThreeByteLimit ? 4 : 5;
}

uint64_t KLVSize(uint64_t valueSize) {
    return KeySize + BERSize(valueSize) + valueSize;
}

void AppendBER(ByteBuffer& out, uint64_t length) {
    if (BERSize(length) == 4) {
        out.U8(0x83);
        out.U8(static_cast<uint8_t>(length >> 16));
        out.U16(static_cast<uint16_t>(length));
    } else {
        out.U8(0x84);
        out.U32(static_cast<uint32_t>(length));
    }
}

void AppendKLV(ByteBuffer& out, const mxf_label::Label& key, std::span<const uint8_t> value) {
    out.Bytes(key);
    AppendBER(out, value.size());
    out.Bytes(value);
}

uint64_t FillTo(uint64_t position, uint64_t grid) {
    uint64_t gap = (grid - position % grid) % grid;
    if (gap == 0) return 0;
    while (gap < MinFill) gap += grid;
    return gap;
}

void AppendFill(ByteBuffer& out, uint64_t size) {
    if (size == 0) return;
    if (size < MinFill) throw std::logic_error("a fill item smaller than its key and length");
    out.Bytes(mxf_label::Fill);
    AppendBER(out, size - MinFill);
    out.Zeros(size - MinFill);
}

}  // namespace synth

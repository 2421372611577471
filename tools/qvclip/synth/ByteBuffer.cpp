#include "tools/qvclip/synth/ByteBuffer.h"

namespace synth {

void ByteBuffer::U16(uint16_t value) {
    U8(static_cast<uint8_t>(value >> 8));
    U8(static_cast<uint8_t>(value));
}

void ByteBuffer::U32(uint32_t value) {
    U16(static_cast<uint16_t>(value >> 16));
    U16(static_cast<uint16_t>(value));
}

void ByteBuffer::U64(uint64_t value) {
    U32(static_cast<uint32_t>(value >> 32));
    U32(static_cast<uint32_t>(value));
}

}  // namespace synth

// KLV triplets and fill items as the writer of test clips lays them out. Lengths are always BER
// in the long form with 3 bytes (0x83), or 4 bytes (0x84) for values of 16 MiB and more, so that
// a triplet's size depends on its value's size alone and sizes can be planned before writing.
// A fill item is at least MinFill bytes: a gap smaller than that grows by a whole grid step.
#pragma once

#include <cstdint>
#include <span>

#include "mxf/MXFLabels.h"
#include "tools/qvclip/synth/ByteBuffer.h"

namespace synth {

inline constexpr uint64_t KeySize = 16;
inline constexpr uint64_t MinFill = KeySize + 4;

// Bytes of the BER length of a value of `length` bytes; throws std::length_error from 4 GiB on.
uint64_t BERSize(uint64_t length);
uint64_t KLVSize(uint64_t valueSize);

void AppendBER(ByteBuffer& out, uint64_t length);
void AppendKLV(ByteBuffer& out, const mxf_label::Label& key, std::span<const uint8_t> value);

// The size of the fill item that carries `position` to the next multiple of `grid`; 0 when it
// stands on one.
uint64_t FillTo(uint64_t position, uint64_t grid);
// A fill item of exactly `size` bytes, which is 0 (nothing) or at least MinFill.
void AppendFill(ByteBuffer& out, uint64_t size);

}  // namespace synth

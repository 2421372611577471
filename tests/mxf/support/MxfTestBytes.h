// Byte images of MXF pieces for tests: keys, local-set values, KLV triplets. Shared by the tests
// of every layer of the reader; the reader's own constants are not used, so that a mistake there
// cannot hide in both.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "support/ByteWriter.h"

namespace qvtest {

using Key16 = std::array<uint8_t, 16>;

// The 06 0E 2B 34 prefix followed by twelve bytes.
inline Key16 Label(std::initializer_list<uint8_t> tail) {
    Key16 key{0x06, 0x0E, 0x2B, 0x34};
    size_t i = 4;
    for (uint8_t byte : tail)
        if (i < key.size()) key[i++] = byte;
    return key;
}

// A structural metadata set numbered `n` (0x012F Preface, 0x0136 material package, ...), with
// byte 5 = 0x53: 2-byte tags and 2-byte lengths.
inline Key16 StructuralSetKey(uint16_t n) {
    return Label(
        {0x02, 0x53, 0x01, 0x01, 0x0D, 0x01, 0x01, 0x01, 0x01, uint8_t(n >> 8), uint8_t(n), 0});
}

inline Key16 PrimerPackKey() {
    return Label({0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x05, 0x01, 0x00});
}

// The value of a set with 2-byte tags and 2-byte lengths.
class LocalSetWriter : public ByteWriter {
public:
    LocalSetWriter& Item(uint16_t tag, const std::vector<uint8_t>& value) {
        U16(tag).U16(uint16_t(value.size())).Bytes(value);
        return *this;
    }
};

// A triplet: the key, the length in the four-byte BER form, the value.
inline ByteWriter& AppendKLV(ByteWriter& out, const Key16& key, const std::vector<uint8_t>& value) {
    return out.Bytes(key).BERLength(value.size(), 4).Bytes(value);
}

}  // namespace qvtest

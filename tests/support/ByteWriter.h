// ByteWriter: builds byte images for parser tests, big-endian unless a name says otherwise, and
// hands them over as a CUMemoryStream. Generic on purpose: no format knowledge beyond the
// integer byte orders and the BER length form shared by several containers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "foundation/CUMemoryStream.h"

namespace qvtest {

class ByteWriter {
public:
    ByteWriter& U8(uint8_t v) { return Put(v, 1); }
    ByteWriter& U16(uint16_t v) { return Put(v, 2); }
    ByteWriter& U32(uint32_t v) { return Put(v, 4); }
    ByteWriter& U64(uint64_t v) { return Put(v, 8); }
    ByteWriter& U16LE(uint16_t v) { return U8(uint8_t(v)).U8(uint8_t(v >> 8)); }
    ByteWriter& U32LE(uint32_t v) { return U16LE(uint16_t(v)).U16LE(uint16_t(v >> 16)); }
    ByteWriter& Bytes(std::initializer_list<uint8_t> values) {
        bytes.insert(bytes.end(), values);
        return *this;
    }
    template <class Container>
    ByteWriter& Bytes(const Container& values) {
        bytes.insert(bytes.end(), std::begin(values), std::end(values));
        return *this;
    }
    ByteWriter& Fill(size_t count, uint8_t value = 0) {
        bytes.insert(bytes.end(), count, value);
        return *this;
    }
    // Short form below 0x80, else 0x80 + `longBytes` and the length in that many bytes
    // (`longBytes` 0 picks the fewest that hold it).
    ByteWriter& BERLength(uint64_t length, unsigned longBytes = 0) {
        if (length < 0x80 && longBytes == 0) return U8(uint8_t(length));
        if (longBytes == 0)
            for (uint64_t rest = length; rest; rest >>= 8) ++longBytes;
        U8(uint8_t(0x80 | longBytes));
        for (unsigned i = longBytes; i-- > 0;) U8(uint8_t(i < 8 ? length >> (8 * i) : 0));
        return *this;
    }

    const std::vector<uint8_t>& Data() const { return bytes; }
    size_t Size() const { return bytes.size(); }
    // A readable stream over a copy of the bytes so far.
    CUSharedPtr<CUStream> Stream() const {
        static const uint8_t none = 0;
        return CUCreate<CUMemoryStream>(bytes.empty() ? &none : bytes.data(), bytes.size());
    }

private:
    ByteWriter& Put(uint64_t v, int width) {
        for (int i = width; i-- > 0;) bytes.push_back(uint8_t(v >> (8 * i)));
        return *this;
    }
    std::vector<uint8_t> bytes;
};

}  // namespace qvtest

// ByteBuffer: bytes appended in big-endian order, the one place where the writer of test clips
// lays out numbers. It grows as needed; nothing fails but memory. Not shared between threads.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace synth {

class ByteBuffer {
public:
    void U8(uint8_t value) { bytes.push_back(value); }
    void U16(uint16_t value);
    void U32(uint32_t value);
    void U64(uint64_t value);
    void I32(int32_t value) { U32(static_cast<uint32_t>(value)); }
    void I64(int64_t value) { U64(static_cast<uint64_t>(value)); }
    void Bytes(std::span<const uint8_t> more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
    }
    template <size_t N>
    void Bytes(const std::array<uint8_t, N>& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
    }
    void Zeros(size_t count) { bytes.insert(bytes.end(), count, 0); }

    size_t Size() const { return bytes.size(); }
    const std::vector<uint8_t>& Data() const { return bytes; }
    std::vector<uint8_t> Take() { return std::move(bytes); }

private:
    std::vector<uint8_t> bytes;
};

}  // namespace synth

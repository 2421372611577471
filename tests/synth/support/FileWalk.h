// Reading back what the clip writer wrote, independently of the module's MXF reader: big-endian
// numbers, KLV triplets with BER lengths, and the items of local sets with 2-byte tags and
// lengths. Enough to check where things lie; no validation beyond bounds.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <vector>

namespace qvtest {

inline uint64_t BigEndian(const std::vector<uint8_t>& file, uint64_t offset, int bytes) {
    if (offset + bytes > file.size()) throw std::out_of_range("read past the end");
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) value = value << 8 | file[offset + i];
    return value;
}

struct KLV {
    std::array<uint8_t, 16> key{};
    uint64_t offset = 0, valueOffset = 0, length = 0;
    uint64_t End() const { return valueOffset + length; }
};

inline KLV ReadKLV(const std::vector<uint8_t>& file, uint64_t offset) {
    KLV klv;
    klv.offset = offset;
    for (int i = 0; i < 16; ++i) klv.key[i] = static_cast<uint8_t>(BigEndian(file, offset + i, 1));
    uint64_t at = offset + 16;
    const uint64_t first = BigEndian(file, at++, 1);
    if (first < 0x80) {
        klv.length = first;
    } else {
        const int bytes = static_cast<int>(first & 0x7F);
        klv.length = BigEndian(file, at, bytes);
        at += bytes;
    }
    klv.valueOffset = at;
    if (klv.End() > file.size()) throw std::out_of_range("a value past the end");
    return klv;
}

// Tag to the offset of the item's value in the file, and its length.
inline std::map<uint16_t, std::pair<uint64_t, uint64_t>> LocalItems(
    const std::vector<uint8_t>& file, const KLV& set) {
    std::map<uint16_t, std::pair<uint64_t, uint64_t>> items;
    for (uint64_t at = set.valueOffset; at < set.End();) {
        const auto tag = static_cast<uint16_t>(BigEndian(file, at, 2));
        const uint64_t length = BigEndian(file, at + 2, 2);
        items[tag] = {at + 4, length};
        at += 4 + length;
    }
    return items;
}

}  // namespace qvtest

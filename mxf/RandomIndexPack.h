// RandomIndexPack: the table at a file's end that lists every partition with its Body SID.
// No lock: filled by one reader under the file's cursor. Failures: Parse gives MXFErrorParse and
// an empty list when the value runs past the stream or an item cannot be read.
#pragma once

#include <cstdint>
#include <vector>

#include "mxf/KLVPacket.h"

class RandomIndexPack : public KLVPacket {
public:
    struct Item {
        uint32_t bodySID = 0;
        uint64_t byteOffset = 0;
    };
    static constexpr uint64_t kItemSize = 12;

    RandomIndexPack() = default;
    explicit RandomIndexPack(const KLVPacket& packet) : KLVPacket(packet) {}

    bool IsValidKey() const override;
    // Items while at least 12 bytes of the value are left; the rest, normally the pack's own
    // 4-byte length, is not read.
    uint32_t Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) override;

    std::vector<Item> items;
};

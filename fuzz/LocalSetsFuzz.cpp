// A local set of any bytes: parsing it and asking every tag of the type table must end in the
// reader's failures or values, never a crash.
#include <cstddef>
#include <cstdint>

#include "foundation/CUMemoryStream.h"
#include "mxf/STMetadataSets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    CUSharedPtr<CUStream> stream = CUCreate<CUMemoryStream>(data + 1, size - 1);
    KLVPacket packet;
    // The first byte chooses the tag and length forms, as byte 5 of a key does.
    const uint8_t key[16] = {0x06, 0x0E, 0x2B, 0x34, 0x02, data[0], 0x01, 0x01,
                             0x0D, 0x01, 0x01, 0x01, 0x01, 0x01,    0x2F, 0x00};
    packet.key = ULKey(key);
    packet.length = size - 1;
    try {
        CUSharedPtr<STMetadataSets> set = CUCreate<STMetadataSets>(packet);
        if (set && set->Parse(stream, 0) == 0)
            for (const auto& [tag, item] : set->Items()) set->GetValue(tag);
    } catch (const char*) {
    }
    return 0;
}

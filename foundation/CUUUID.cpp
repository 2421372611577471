#include "foundation/CUUUID.h"

#include <cstdio>
#include <cstring>

namespace {
void PutBigEndian32(uint8_t* out, uint32_t v) {
    out[0] = static_cast<uint8_t>(v >> 24);
    out[1] = static_cast<uint8_t>(v >> 16);
    out[2] = static_cast<uint8_t>(v >> 8);
    out[3] = static_cast<uint8_t>(v);
}
}  // namespace

CUSharedPtr<CUUUID> CUUUID::MakeLabel(uint32_t word1, uint32_t word2, uint32_t word3) {
    CUSharedPtr<CUUUID> label = CUCreate<CUUUID>();
    if (!label) return nullptr;
    uint8_t wire[16];
    PutBigEndian32(wire, CUSMPTELabelPrefix);
    PutBigEndian32(wire + 4, word1);
    PutBigEndian32(wire + 8, word2);
    PutBigEndian32(wire + 12, word3);
    label->guid.data1 = CUSMPTELabelPrefix;
    label->guid.data2 = static_cast<uint16_t>(word1 >> 16);
    label->guid.data3 = static_cast<uint16_t>(word1);
    std::memcpy(label->guid.data4, wire + 8, 8);
    return label;
}

CUSharedPtr<CUStringWin> CUUUID::Description() const {
    char text[64];
    std::snprintf(text, sizeof text, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                  guid.data1, guid.data2, guid.data3, guid.data4[0], guid.data4[1], guid.data4[2],
                  guid.data4[3], guid.data4[4], guid.data4[5], guid.data4[6], guid.data4[7]);
    return CUCreate<CUStringWin>((CUObjectDescriptionText(*this) + " " + text).c_str());
}

void CUUUID::GetBytes(uint8_t out[16]) const { std::memcpy(out, &guid, 16); }

bool CUUUID::IsEqualToBytes(const uint8_t bytes[16]) const {
    return bytes && std::memcmp(&guid, bytes, 16) == 0;
}

bool CUUUID::IsEqual(const CUUUID& other) const { return IsEqualToBytes(reinterpret_cast<const uint8_t*>(&other.guid)); }

void CUUUID::Assign(const CUUUID& other) { guid = other.guid; }

void CUUUID::GetBigEndian(uint8_t out[16]) const {
    PutBigEndian32(out, guid.data1);
    out[4] = static_cast<uint8_t>(guid.data2 >> 8);
    out[5] = static_cast<uint8_t>(guid.data2);
    out[6] = static_cast<uint8_t>(guid.data3 >> 8);
    out[7] = static_cast<uint8_t>(guid.data3);
    std::memcpy(out + 8, guid.data4, 8);
}

void CUUUID::SetBytes(const uint8_t bytes[16]) {
    if (bytes) std::memcpy(&guid, bytes, 16);
}

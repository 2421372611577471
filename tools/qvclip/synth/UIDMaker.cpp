#include "tools/qvclip/synth/UIDMaker.h"

#include <algorithm>

namespace synth {

uint64_t UIDMaker::Next() {
    // splitmix64: every seed gives a long, well-spread sequence.
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

mxf_label::Label UIDMaker::NextUUID() {
    mxf_label::Label uid{};
    const uint64_t halves[2] = {Next(), Next()};
    for (size_t i = 0; i < 16; ++i)
        uid[i] = static_cast<uint8_t>(halves[i / 8] >> (56 - 8 * (i % 8)));
    uid[6] = static_cast<uint8_t>((uid[6] & 0x0F) | 0x40);
    uid[8] = static_cast<uint8_t>((uid[8] & 0x3F) | 0x80);
    return uid;
}

UMIDBytes UIDMaker::NextUMID() {
    UMIDBytes umid{};
    std::copy(mxf_label::UMIDLabel.begin(), mxf_label::UMIDLabel.end(), umid.begin());
    umid[12] = mxf_label::UMIDLengthBasic;
    const mxf_label::Label material = NextUUID();
    std::copy(material.begin(), material.end(), umid.begin() + 16);
    return umid;
}

}  // namespace synth

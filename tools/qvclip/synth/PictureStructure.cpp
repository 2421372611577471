#include "tools/qvclip/synth/PictureStructure.h"

#include "mxf/MXFLabels.h"

namespace synth {

namespace {

using namespace mxf_system_item;

uint8_t AVCType(uint8_t header) {
    switch (header & 0x1F) {
        case 7:
            return StructureSPS;
        case 8:
            return StructurePPS;
        case 1:
        case 5:
            return StructureSlice;
    }
    return 0;
}

uint8_t HEVCType(uint8_t header) {
    const uint8_t type = (header >> 1) & 0x3F;
    if (type == 32) return StructureVPS;
    if (type == 33) return StructureSPS;
    if (type == 34) return StructurePPS;
    return type < 32 ? StructureSlice : 0;
}

}  // namespace

std::vector<PictureRange> FindPictureStructure(SynthCodec codec, std::span<const uint8_t> picture) {
    std::vector<PictureRange> ranges;
    if (codec == SynthCodec::MPEG2) return ranges;
    // Starts of NAL units: behind each 00 00 01.
    std::vector<size_t> starts;
    for (size_t i = 0; i + 3 <= picture.size(); ++i)
        if (picture[i] == 0 && picture[i + 1] == 0 && picture[i + 2] == 1) {
            starts.push_back(i + 3);
            i += 2;
        }
    for (size_t n = 0; n < starts.size(); ++n) {
        size_t end = n + 1 < starts.size() ? starts[n + 1] - 3 : picture.size();
        // The zero before a four-byte start code belongs to the next unit's start code.
        while (end > starts[n] && picture[end - 1] == 0) --end;
        if (end <= starts[n]) continue;
        const uint8_t header = picture[starts[n]];
        const uint8_t type = codec == SynthCodec::H264 ? AVCType(header) : HEVCType(header);
        if (type != 0)
            ranges.push_back(
                {type, static_cast<uint32_t>(starts[n]), static_cast<uint32_t>(end - starts[n])});
    }
    return ranges;
}

}  // namespace synth

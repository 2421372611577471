// PictureStructure: where the parameter sets and slices lie in one coded picture of a byte stream
// (start codes, then NAL units), as the system item of a content package lists them. Offsets and
// sizes count the NAL unit's bytes after its start code. MPEG-2 pictures have no such list.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/qvclip/synth/SynthOptions.h"

namespace synth {

struct PictureRange {
    uint8_t type = 0;  // mxf_system_item::Structure*
    uint32_t offset = 0, size = 0;
};

std::vector<PictureRange> FindPictureStructure(SynthCodec codec, std::span<const uint8_t> picture);

}  // namespace synth

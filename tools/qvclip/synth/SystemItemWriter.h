// SystemItemWriter: the system item that opens each content package of a test clip, two KLVs:
// the system metadata pack, with the package's timecode as user stamp and the recording date and
// time of day as creation stamp, and the package metadata set, whose acquisition item holds a
// pack list (focus, zoom, shutter, iris, white balance, gain, ISO; focus drifts with the frame)
// and, for AVC and HEVC, where the parameter sets and slices of the package's picture lie.
// The item depends on the plan, the frame and the picture alone. Not shared between threads.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/qvclip/synth/ClipPlan.h"

namespace synth {

struct SystemItem {
    std::vector<uint8_t> pack, set;  // the values of the two KLVs
    std::vector<uint8_t> KLVs() const;
};

class SystemItemWriter {
public:
    explicit SystemItemWriter(const ClipPlan& plan) : plan(plan) {}

    SystemItem Write(uint64_t frame, std::span<const uint8_t> picture) const;

private:
    const ClipPlan& plan;
};

}  // namespace synth

// UIDMaker: instance identifiers and UMIDs drawn from a seed and a counter, so that a clip
// written twice with the same options carries the same identifiers. Identifiers have the form of
// random (version 4) UUIDs; UMIDs are basic ones with a fresh material number each.
// Not shared between threads.
#pragma once

#include <array>
#include <cstdint>

#include "mxf/MXFLabels.h"

namespace synth {

using UMIDBytes = std::array<uint8_t, 32>;

class UIDMaker {
public:
    explicit UIDMaker(uint64_t seed) : state(seed) {}

    mxf_label::Label NextUUID();
    UMIDBytes NextUMID();

private:
    uint64_t Next();
    uint64_t state;
};

}  // namespace synth

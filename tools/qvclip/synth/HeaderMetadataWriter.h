// HeaderMetadataWriter: the header metadata of a test clip, primer pack first. It describes one
// material package playing one file package, each with a timecode track, a picture track and one
// mono sound track per channel, in that order, so that the material package's track n is the
// content package's element n (the system item stands for the timecode track). The file package
// has a multiple descriptor with a CDCI (or RGBA) descriptor and a wave descriptor per channel,
// and the essence lies in Body SID 2, indexed by Index SID 1. The camera's private file sequence
// set comes last. The primer covers every local tag of these sets and of the index segments.
#pragma once

#include <cstdint>
#include <vector>

#include "mxf/MXFLabels.h"
#include "tools/qvclip/synth/ClipPlan.h"
#include "tools/qvclip/synth/UIDMaker.h"

namespace synth {

inline constexpr uint32_t EssenceBodySID = 2;
inline constexpr uint32_t EssenceIndexSID = 1;

// The essence containers that a clip of this plan holds, as the preface and partitions list them.
std::vector<mxf_label::Label> EssenceContainers(const ClipPlan& plan);

// Primer and sets, without the fill that aligns them. Identifiers come from `uids`.
std::vector<uint8_t> WriteHeaderMetadata(const ClipPlan& plan, UIDMaker& uids);

}  // namespace synth

// MXFClipWriter: lays out and writes the MXF file of a test clip from its content packages.
//
// The file, with KAG k (512 by default):
//   header partition: pack and fill (exactly k bytes), primer and header metadata, fill to the KAG
//     grid; with a header-held index (minor version 3) all index segments follow, back to back
//     and of equal duration, then fill. Body SID 0.
//   body partitions 0..P-1, Body SID 2: pack and fill (k bytes); from partition 1 on, the index
//     segment of the previous partition's essence and fill; then the partition's content
//     packages. Each partition holds ceil(frames / P) frames, the last one fewer.
//   footer partition: pack and fill; the index segment of the last body partition and fill.
//   Random Index Pack, unless switched off.
// A content package is the system item (pack and package metadata set), the picture element and
// one sound element per channel, in this order; with fill switched on every package starts on
// the KAG grid. Delta entries number the elements the same way; an element that follows one of
// varying size starts a new slice. Stream offsets count every byte of a partition's essence area
// (fill included) on from its Body Offset.
// P is raised until every segment's entries fit in one local-set item. Throws
// std::runtime_error when the file cannot be written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/qvclip/synth/ClipPlan.h"
#include "tools/qvclip/synth/IndexSegmentWriter.h"
#include "tools/qvclip/synth/UIDMaker.h"

namespace synth {

// One content package to write, in stored order.
struct PackageContent {
    std::vector<uint8_t> systemItem;  // the two KLVs
    std::vector<uint8_t> picture;
    std::vector<std::vector<uint8_t>> sound;
    IndexEntry entry;  // temporal and key-frame offsets and flags; the writer adds the offsets
};

// Where a value went in the file.
struct ValuePlace {
    uint64_t offset = 0, size = 0;
};

struct PackagePlace {
    uint64_t systemOffset = 0;  // the key of the system metadata pack
    uint64_t streamOffset = 0;
    ValuePlace picture;
    std::vector<ValuePlace> sound;
};

struct PartitionPlace {
    uint64_t offset = 0;
    uint32_t bodySID = 0, indexSID = 0;
    uint64_t firstFrame = 0, frameCount = 0;  // essence it holds
};

struct ClipLayout {
    std::vector<PackagePlace> packages;
    std::vector<PartitionPlace> partitions;  // header, body partitions, footer
    uint64_t framesPerSegment = 0;
    uint8_t sliceCount = 0;
    uint64_t fileSize = 0;
};

class MXFClipWriter {
public:
    MXFClipWriter(const ClipPlan& plan, UIDMaker& uids) : plan(plan), uids(uids) {}

    ClipLayout Write(std::vector<PackageContent>& packages);

private:
    const ClipPlan& plan;
    UIDMaker& uids;
};

}  // namespace synth

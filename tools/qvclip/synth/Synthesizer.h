// Synthesize: writes the test clip that options describe and tells what went where, so that
// tests can compare a reader's output with what was written without a reader of their own.
// The same options give the same bytes, wherever the clip is written. Throws
// std::invalid_argument for options that cannot be written and std::runtime_error when encoding
// or writing fails.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/qvclip/synth/MXFClipWriter.h"
#include "tools/qvclip/synth/SynthOptions.h"

namespace synth {

// One element value: where it lies in the file, and the MD5 of its bytes in lowercase hex.
struct SynthElement {
    uint64_t offset = 0, size = 0;
    std::string md5;
};

// One content package, in stored order: edit unit `index` of the file.
struct SynthPackage {
    uint64_t pictureNumber = 0;  // the picture it carries, in display order
    bool key = false;
    IndexEntry entry;                 // as the index holds it for this edit unit
    std::vector<uint8_t> systemItem;  // pack value, then the package metadata set's value
    uint64_t systemOffset = 0;        // the key of the system metadata pack
    SynthElement picture;
    std::vector<SynthElement> sound;
};

struct SynthResult {
    std::vector<std::string> paths;  // every file written
    std::vector<SynthPackage> packages;
    std::vector<PartitionPlace> partitions;  // header, body partitions, footer
    uint64_t framesPerSegment = 0;
    uint8_t sliceCount = 0;
    uint64_t fileSize = 0;
};

SynthResult Synthesize(const SynthOptions& options);

}  // namespace synth

// SynthOptions: what `qvclip synth` is asked to write, as plain values with the command line's
// defaults. ClipPlan checks them and works out what follows from them.
#pragma once

#include <cstdint>
#include <string>

namespace synth {

enum class SynthCodec { H264, HEVC, MPEG2 };

struct SynthOptions {
    std::string outDir = ".";
    std::string name = "SYNTH0001";  // the file is <outDir>/<name>.MXF
    SynthCodec codec = SynthCodec::H264;
    uint32_t gop = 12;  // pictures from one key frame to the next; 1 makes an intra clip
    uint32_t frames = 100;
    uint32_t width = 1920, height = 1080;
    uint32_t rateNumerator = 25, rateDenominator = 1;
    uint32_t bitDepth = 8;    // 8 or 10; 12 for HEVC
    uint32_t chroma = 420;    // 420 or 422
    uint32_t channels = 2;    // 0 to 8 mono sound tracks, 48 kHz
    uint32_t soundBits = 24;  // 16 or 24
    // Film grain: amplitude, in 8-bit steps, of noise added to every picture (0 to 64), new in
    // every frame so that prediction cannot take it away. With grain the encoders aim at a
    // camera's bitrate instead of a constant quality. 0 leaves pattern and settings as they were.
    uint32_t grain = 0;
    // Body partitions that share the essence. Raised when a partition's index segment would not
    // fit in one local-set item; a header-held index needs exactly one.
    uint32_t partitions = 1;
    bool randomIndexPack = true;
    // All index segments in the header partition (minor version 3) instead of each partition's
    // segment in the following partition.
    bool headerIndex = false;
    uint32_t segmentFrames = 0;  // frames per segment of a header-held index; 0: one second
    bool fill = false;           // every content package starts on the KAG grid
    uint32_t kag = 512;
    bool tiles = false;           // each slice also listed as a tile of the picture structure
    bool rgbaDescriptor = false;  // an RGBA picture descriptor instead of a CDCI one
    uint32_t gammaCode = 1;       // the module's gamma code whose label is written
    uint32_t gamutCode = 0;       // the module's gamut code whose label is written
    std::string timecode = "01:00:00:00";
    std::string date = "2024-06-01T09:30:00";  // recording date and time of the first frame
};

}  // namespace synth

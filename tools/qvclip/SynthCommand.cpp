#include "tools/qvclip/SynthCommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <stdexcept>

#include "tools/qvclip/synth/Synthesizer.h"

namespace qvclip {

namespace {

// "A<separator>B" with two whole numbers above 0.
void ParsePair(const std::string& text, char separator, uint32_t& a, uint32_t& b,
               const char* message) {
    unsigned first = 0, second = 0;
    char tail = 0;
    const std::string format = std::string("%u") + separator + "%u%c";
    if (std::sscanf(text.c_str(), format.c_str(), &first, &second, &tail) != 2 || !first || !second)
        throw std::invalid_argument(message);
    a = first;
    b = second;
}

}  // namespace

void SynthCommand::Register(CLI::App& parent) {
    app =
        parent.add_subcommand("synth", "Write a deterministic MXF test clip of the camera family");
    app->add_option("--out", options.outDir, "Folder to write into (made if missing)")->required();
    app->add_option("--name", options.name, "File name without .MXF")->capture_default_str();
    app->add_option("--codec", codec, "Picture coding")
        ->check(CLI::IsMember({"h264", "hevc", "mpeg2"}))
        ->capture_default_str();
    app->add_option("--gop", options.gop, "Pictures from one key frame to the next; 1: intra")
        ->capture_default_str();
    app->add_option("--frames", options.frames, "Frames to write")->capture_default_str();
    app->add_option("--size", size, "Picture size WxH")->capture_default_str();
    app->add_option("--rate", rate, "Frame rate N or N/D, such as 30000/1001")
        ->capture_default_str();
    app->add_option("--bit-depth", options.bitDepth, "Bits a picture sample: 8, 10, 12 (HEVC)")
        ->capture_default_str();
    app->add_option("--chroma", options.chroma, "Chroma sampling: 420 or 422")
        ->capture_default_str();
    app->add_option("--grain", options.grain,
                    "Film grain: amplitude of deterministic noise added to every picture, 0 to 64")
        ->capture_default_str();
    app->add_option("--channels", options.channels, "Mono sound tracks, 0 to 8")
        ->capture_default_str();
    app->add_option("--bits", options.soundBits, "Bits a sound sample: 16 or 24")
        ->capture_default_str();
    app->add_option("--partitions", options.partitions,
                    "Body partitions sharing the essence (raised as far as the index needs)")
        ->capture_default_str();
    app->add_flag("--no-rip", noRip, "Leave out the Random Index Pack");
    app->add_flag("--header-index", options.headerIndex,
                  "Hold all index segments in the header partition (minor version 3)");
    app->add_option("--segment-frames", options.segmentFrames,
                    "Frames per segment of a header-held index (default: one second)");
    app->add_flag("--fill", options.fill, "Start every content package on the KAG grid");
    app->add_option("--kag", options.kag, "KLV alignment grid in bytes")->capture_default_str();
    app->add_flag("--rgba", options.rgbaDescriptor, "Describe the picture with an RGBA descriptor");
    app->add_flag("--tiles", options.tiles,
                  "List each slice also as a tile in the picture structure of the system item");
    app->add_option("--gamma", options.gammaCode,
                    "Transfer characteristic by gamma code: 0 1 2 3 4 5 9 12 14 15")
        ->capture_default_str();
    app->add_option("--gamut", options.gamutCode, "Colour primaries by gamut code: 0 to 5")
        ->capture_default_str();
    app->add_option("--timecode", options.timecode, "Timecode of the first frame")
        ->capture_default_str();
    app->add_option("--date", options.date, "Recording date and time, YYYY-MM-DDTHH:MM:SS")
        ->capture_default_str();
}

int SynthCommand::Run() {
    options.codec = codec == "hevc"    ? synth::SynthCodec::HEVC
                    : codec == "mpeg2" ? synth::SynthCodec::MPEG2
                                       : synth::SynthCodec::H264;
    ParsePair(size, 'x', options.width, options.height, "--size must read WxH, such as 1920x1080");
    if (rate.find('/') == std::string::npos) rate += "/1";
    ParsePair(rate, '/', options.rateNumerator, options.rateDenominator,
              "--rate must read N or N/D, such as 25 or 30000/1001");
    options.randomIndexPack = !noRip;
    for (const std::string& path : synth::Synthesize(options).paths)
        std::printf("%s\n", path.c_str());
    return 0;
}

}  // namespace qvclip

#include "tools/qvclip/synth/ClipPlan.h"

#include <cstdio>
#include <stdexcept>
#include <string_view>

namespace synth {

namespace {

using namespace mxf_label;

void Require(bool condition, const char* message) {
    if (!condition) throw std::invalid_argument(message);
}

bool MPEG2Rate(uint32_t numerator, uint32_t denominator) {
    const uint32_t rates[][2] = {{24000, 1001}, {24, 1}, {25, 1},       {30000, 1001},
                                 {30, 1},       {50, 1}, {60000, 1001}, {60, 1}};
    for (const auto& rate : rates)
        if (uint64_t{numerator} * rate[1] == uint64_t{denominator} * rate[0]) return true;
    return false;
}

Label PictureCoding(const SynthOptions& o, bool intra) {
    switch (o.codec) {
        case SynthCodec::H264:
            if (intra) return CodingAVC(CodingAVCIntra, o.chroma == 422 ? 0x30 : 0x20);
            return CodingAVC(CodingAVCLongGOP,
                             o.chroma == 422 ? 0x60 : (o.bitDepth == 10 ? 0x50 : 0x40));
        case SynthCodec::HEVC:
            return CodingCameraHEVC(intra ? CodingCameraIntra : CodingCameraLongGOP);
        case SynthCodec::MPEG2: {
            const bool mainLevel = o.width <= 720 && o.height <= 576;
            const uint8_t profileLevel =
                o.chroma == 422 ? (mainLevel ? 0x02 : 0x05) : (mainLevel ? 0x01 : 0x03);
            return CodingMPEG2(profileLevel, MPEG2Structure(profileLevel, !intra));
        }
    }
    return {};
}

Label TransferFor(uint32_t gammaCode) {
    switch (gammaCode) {
        case 0:
            return TransferCamera(CameraFamily0D, 0x01);
        case 1:
            return TransferBT709;
        case 2:
            return TransferCamera(CameraFamily0D, 0x03);
        case 3:
            return TransferCamera(CameraFamily0D, 0x02);
        case 4:
            return TransferCamera(CameraFamily0D, 0x04);
        case 5:
            return TransferCamera(CameraFamily0D, 0x05);
        case 9:
            return TransferCamera(CameraFamily0D, 0x06);
        case 12:
            return TransferCamera(CameraFamily0D, 0x07);
        case 14:
            return TransferPQ;
        case 15:
            return TransferHLG;
    }
    throw std::invalid_argument("--gamma must be one of 0, 1, 2, 3, 4, 5, 9, 12, 14, 15");
}

Label PrimariesFor(uint32_t gamutCode) {
    switch (gamutCode) {
        case 0:
            return PrimariesBT709;
        case 1:
            return PrimariesCamera(CameraFamily0D, 0x01);
        case 2:
            return PrimariesCamera(CameraFamily0D, 0x02);
        case 3:
            return PrimariesBT2020;
        case 4:
            return PrimariesCamera(CameraFamily0D, 0x04);
        case 5:
            return PrimariesGamutCode5;
    }
    throw std::invalid_argument("--gamut must be from 0 to 5");
}

ClipDate ParseDate(const std::string& text) {
    ClipDate d;
    char separator = 0, rest = 0;
    const int read = std::sscanf(text.c_str(), "%4u-%2u-%2u%c%2u:%2u:%2u%c", &d.year, &d.month,
                                 &d.day, &separator, &d.hour, &d.minute, &d.second, &rest);
    Require(read == 7 && (separator == 'T' || separator == ' '),
            "--date must read YYYY-MM-DDTHH:MM:SS");
    // The creation stamp of the system item holds two digits of a year from 2000 on.
    Require(d.year >= 2000 && d.year <= 2099 && d.month >= 1 && d.month <= 12 && d.day >= 1 &&
                d.day <= 31 && d.hour < 24 && d.minute < 60 && d.second < 60,
            "--date is out of range (years 2000 to 2099)");
    return d;
}

void Mix(uint64_t& hash, std::string_view text) {
    for (unsigned char c : text) hash = (hash ^ c) * 0x100000001B3ull;
    hash = (hash ^ 0xFF) * 0x100000001B3ull;
}

}  // namespace

ClipPlan::ClipPlan(const SynthOptions& o) : options(o) {
    Require(!o.name.empty() && o.name.find_first_of("/\\") == std::string::npos,
            "--name must be a plain file name");
    Require(o.frames >= 1 && o.frames <= 10'000'000, "--frames must be from 1 to 10000000");
    Require(o.width >= 16 && o.height >= 16 && o.width <= 8192 && o.height <= 4320,
            "--size must be from 16x16 to 8192x4320");
    Require(o.width % 2 == 0 && o.height % 2 == 0, "--size must be even in both directions");
    Require(o.rateNumerator > 0 && o.rateDenominator > 0, "--rate must be N/D with N, D above 0");
    Require(o.rateNumerator <= 120 * uint64_t{o.rateDenominator} &&
                o.rateNumerator >= o.rateDenominator,
            "--rate must be from 1 to 120 frames a second");
    Require(o.gop >= 1 && o.gop <= MaxGOP, "--gop must be from 1 to 120");
    Require(o.chroma == 420 || o.chroma == 422, "--chroma must be 420 or 422");
    Require(
        o.bitDepth == 8 || o.bitDepth == 10 || (o.bitDepth == 12 && o.codec == SynthCodec::HEVC),
        "--bit-depth must be 8 or 10, or 12 for HEVC");
    if (o.codec == SynthCodec::MPEG2) {
        Require(o.bitDepth == 8, "MPEG-2 is written with 8 bits only");
        Require(
            MPEG2Rate(o.rateNumerator, o.rateDenominator),
            "MPEG-2 takes only the rates 24000/1001, 24, 25, 30000/1001, 30, 50, 60000/1001, 60");
    }
    Require(o.channels <= MaxChannels, "--channels must be from 0 to 8");
    Require(o.grain <= MaxGrain, "--grain must be from 0 to 64");
    Require(o.soundBits == 16 || o.soundBits == 24, "--bits must be 16 or 24");
    Require(o.partitions >= 1, "--partitions must be at least 1");
    Require(!o.headerIndex || o.partitions == 1,
            "a header-held index addresses one body partition: leave --partitions at 1");
    Require(o.headerIndex || o.segmentFrames == 0, "--segment-frames needs --header-index");
    Require(o.kag >= 256 && o.kag <= (1u << 20), "--kag must be from 256 to 1048576");

    // The timecode base is the rate rounded; the 1001 rates at 30 and 60 count drop frame.
    timecodeBase = (o.rateNumerator + o.rateDenominator / 2) / o.rateDenominator;
    dropFrame = o.rateDenominator == 1001 && (timecodeBase == 30 || timecodeBase == 60);
    const auto start = Timecode::Parse(o.timecode, timecodeBase, dropFrame);
    Require(start.has_value(), "--timecode must read HH:MM:SS:FF and suit the rate");
    startTimecode = start->FrameCount(timecodeBase, dropFrame);
    date = ParseDate(o.date);

    const bool intra = Intra();
    pictureContainer = o.codec == SynthCodec::H264    ? ContainerAVC
                       : o.codec == SynthCodec::MPEG2 ? ContainerMPEG2
                                                      : ContainerCamera;
    pictureCoding = PictureCoding(o, intra);
    transfer = TransferFor(o.gammaCode);
    primaries = PrimariesFor(o.gamutCode);
    pictureElement = EssenceElement(PictureItem, 1, PictureElementFrameWrapped, 1);
    for (uint32_t c = 0; c < o.channels; ++c)
        soundElements.push_back(EssenceElement(SoundItem, static_cast<uint8_t>(o.channels),
                                               SoundElementWaveFrameWrapped,
                                               static_cast<uint8_t>(c + 1)));
}

uint64_t ClipPlan::SoundSampleStart(uint64_t frame) const {
    const uint64_t numerator = options.rateNumerator, denominator = options.rateDenominator;
    return (2 * frame * SampleRate * denominator + numerator) / (2 * numerator);
}

uint32_t ClipPlan::SoundSamples(uint64_t frame) const {
    return static_cast<uint32_t>(SoundSampleStart(frame + 1) - SoundSampleStart(frame));
}

uint64_t ClipPlan::Seed() const {
    const SynthOptions& o = options;
    uint64_t hash = 0xCBF29CE484222325ull;
    Mix(hash, o.name);
    Mix(hash, o.timecode);
    Mix(hash, o.date);
    const uint64_t numbers[] = {static_cast<uint64_t>(o.codec),
                                o.gop,
                                o.frames,
                                o.width,
                                o.height,
                                o.rateNumerator,
                                o.rateDenominator,
                                o.bitDepth,
                                o.chroma,
                                o.channels,
                                o.soundBits,
                                o.partitions,
                                o.randomIndexPack,
                                o.headerIndex,
                                o.segmentFrames,
                                o.fill,
                                o.kag,
                                o.rgbaDescriptor,
                                o.gammaCode,
                                o.gamutCode};
    for (uint64_t n : numbers) Mix(hash, std::to_string(n));
    // Mixed in only when set, so that clips without grain keep the identifiers they had.
    if (o.grain) Mix(hash, "grain " + std::to_string(o.grain));
    return hash;
}

std::string ClipPlan::Path() const {
    return options.outDir + "/" + options.name + ".MXF";
}

}  // namespace synth

// Synthesized clips of every writer option read back through MXFStream: each frame's elements
// are located and hold the bytes that were written, and the index entries agree.
#include <gtest/gtest.h>

#include <vector>

#include "mxf/MXFError.h"
#include "mxf/MXFStream.h"
#include "support/Md5.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace {

using namespace qvtest;
using synth::SynthCodec;
using synth::SynthOptions;

struct Variant {
    const char* name;
    void (*apply)(SynthOptions&);
};

SynthOptions Base(const std::string& dir) {
    return {.outDir = dir, .frames = 30, .width = 128, .height = 72, .channels = 2};
}

class MXFStreamRoundTrip : public ::testing::TestWithParam<Variant> {};

TEST_P(MXFStreamRoundTrip, ElementsHoldWhatWasWritten) {
    TempDirectory dir;
    SynthOptions options = Base(dir.root);
    GetParam().apply(options);
    const synth::SynthResult written = synth::Synthesize(options);
    ASSERT_EQ(written.packages.size(), options.frames);

    CUSharedPtr<MXFStream> stream =
        CUCreate<MXFStream>(CUCreate<CUStringWin>(written.paths.at(0).c_str()));
    ASSERT_TRUE(stream);
    ASSERT_EQ(stream->Open(), MXFErrorNone);
    EXPECT_EQ(stream->frameCount, options.frames);
    EXPECT_EQ(stream->randomIndexPack != nullptr, options.randomIndexPack);
    EXPECT_EQ(stream->headerMetadata->GetTrackCount(), 2u + options.channels);  // timecode, picture

    std::vector<uint8_t> buffer(1 << 20);
    // Out of order on purpose: the index of a later partition loads first.
    std::vector<uint64_t> order;
    for (uint64_t f = options.frames; f-- > 0;) order.push_back(f);
    for (uint64_t frame : order) {
        SCOPED_TRACE(frame);
        const synth::SynthPackage& package = written.packages[frame];
        int8_t temporal = 0, keyFrame = 0;
        uint8_t flags = 0;
        ASSERT_EQ(stream->GetFrameEntry(frame, &temporal, &keyFrame, &flags), 1u);
        EXPECT_EQ(temporal, package.entry.temporalOffset);
        EXPECT_EQ(keyFrame, package.entry.keyFrameOffset);
        EXPECT_EQ(flags, package.entry.flags);

        uint64_t got = stream->ReadElement(frame, 0, buffer.data(), buffer.size());
        EXPECT_EQ(std::vector<uint8_t>(buffer.begin(), buffer.begin() + got), package.systemItem);
        got = stream->ReadElement(frame, 1, buffer.data(), buffer.size());
        EXPECT_EQ(got, package.picture.size);
        EXPECT_EQ(Md5Hex(buffer.data(), got), package.picture.md5);
        for (size_t c = 0; c < package.sound.size(); ++c) {
            got = stream->ReadElement(frame, uint32_t(2 + c), buffer.data(), buffer.size());
            EXPECT_EQ(Md5Hex(buffer.data(), got), package.sound[c].md5) << "channel " << c;
        }
    }
    // A buffer too small for the picture delivers nothing; a frame past the end neither.
    EXPECT_EQ(stream->ReadElement(0, 1, buffer.data(), written.packages[0].picture.size - 1), 0u);
    EXPECT_EQ(stream->ReadElement(options.frames, 1, buffer.data(), buffer.size()), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Options, MXFStreamRoundTrip,
    ::testing::Values(
        Variant{"H264LongGop", [](SynthOptions&) {}},
        Variant{"H264Intra16Bit",
                [](SynthOptions& o) { o.gop = 1, o.soundBits = 16, o.channels = 1; }},
        Variant{"Hevc10Bit422",
                [](SynthOptions& o) {
                    o.codec = SynthCodec::HEVC, o.bitDepth = 10, o.chroma = 422, o.channels = 4;
                }},
        Variant{"Mpeg2EightChannels",
                [](SynthOptions& o) { o.codec = SynthCodec::MPEG2, o.channels = 8; }},
        Variant{"NoSound", [](SynthOptions& o) { o.channels = 0; }},
        Variant{"PartitionsWithoutRip",
                [](SynthOptions& o) { o.partitions = 4, o.randomIndexPack = false; }},
        Variant{"PartitionsWithRip", [](SynthOptions& o) { o.partitions = 3, o.frames = 31; }},
        Variant{"HeaderIndex", [](SynthOptions& o) { o.headerIndex = true, o.segmentFrames = 4; }},
        Variant{"Fill", [](SynthOptions& o) { o.fill = true; }},
        Variant{"Rgba", [](SynthOptions& o) { o.rgbaDescriptor = true; }}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace

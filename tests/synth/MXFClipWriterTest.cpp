// Writer layout rules the reader tests do not check: pack and fill in one KAG, each body
// partition indexed by the next partition, the header-held index at one stride, partitions for
// long clips, and byte-identical repeats. That the index entries lead to the right packages is the
// reader's round trip (every element read back through the index, for each of these layouts).
#include <gtest/gtest.h>

#include "support/TestFiles.h"
#include "synth/support/FileWalk.h"

#include "mxf/MXFLabels.h"
#include "mxf/MXFLocalTags.h"
#include "tools/qvclip/synth/MXFClipWriter.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace {

using namespace qvtest;
using synth::SynthOptions;

SynthOptions Small(const std::string& dir) {
    return {.outDir = dir, .frames = 24, .width = 128, .height = 72};
}

struct Pack {
    KLV klv;
    uint16_t minorVersion = 0;
    uint64_t thisPartition = 0, previous = 0, footer = 0, headerBytes = 0, indexBytes = 0;
    uint32_t kag = 0, indexSID = 0, bodySID = 0;
    uint64_t Contents() const { return thisPartition + kag; }  // behind the pack and its fill
};

Pack ReadPack(const std::vector<uint8_t>& file, uint64_t offset) {
    Pack p;
    p.klv = ReadKLV(file, offset);
    const uint64_t v = p.klv.valueOffset;
    p.minorVersion = static_cast<uint16_t>(BigEndian(file, v + 2, 2));
    p.kag = static_cast<uint32_t>(BigEndian(file, v + 4, 4));
    p.thisPartition = BigEndian(file, v + 8, 8);
    p.previous = BigEndian(file, v + 16, 8);
    p.footer = BigEndian(file, v + 24, 8);
    p.headerBytes = BigEndian(file, v + 32, 8);
    p.indexBytes = BigEndian(file, v + 40, 8);
    p.indexSID = static_cast<uint32_t>(BigEndian(file, v + 48, 4));
    p.bodySID = static_cast<uint32_t>(BigEndian(file, v + 60, 4));
    // The pack and the fill behind it take exactly one KAG.
    const KLV fill = ReadKLV(file, p.klv.End());
    EXPECT_EQ(fill.key, mxf_label::Fill);
    EXPECT_EQ(fill.End(), offset + p.kag);
    return p;
}

uint64_t Item(const std::vector<uint8_t>& file, const KLV& set, uint16_t tag) {
    const auto [offset, length] = LocalItems(file, set).at(tag);
    return BigEndian(file, offset, static_cast<int>(length));
}

TEST(MXFClipWriter, BodyPartitionsAreIndexedByTheFollowingPartition) {
    TempDirectory dir;
    SynthOptions o = Small(dir.root);
    o.partitions = 3;
    o.fill = true;
    const synth::SynthResult result = synth::Synthesize(o);
    const std::vector<uint8_t> file = ReadFile(result.paths.at(0));
    ASSERT_EQ(result.partitions.size(), 5u);
    ASSERT_EQ(result.fileSize, file.size());

    const Pack header = ReadPack(file, 0);
    EXPECT_EQ(header.minorVersion, 2);
    EXPECT_EQ(header.footer, result.partitions.back().offset);
    EXPECT_EQ(ReadKLV(file, header.Contents()).key, mxf_label::PrimerPack);
    for (size_t k = 1; k <= 3; ++k) {
        const Pack body = ReadPack(file, result.partitions[k].offset);
        const Pack next = ReadPack(file, result.partitions[k + 1].offset);
        EXPECT_EQ(body.bodySID, 2u);
        EXPECT_EQ(result.partitions[k].frameCount, 8u);
        EXPECT_EQ(body.indexBytes == 0, k == 1);
        EXPECT_EQ(next.indexSID, 1u);
        EXPECT_EQ(next.previous, body.thisPartition);
        EXPECT_EQ(ReadKLV(file, next.Contents()).key, mxf_label::IndexTableSegment);
    }
    for (const synth::SynthPackage& package : result.packages)
        EXPECT_EQ(package.systemOffset % o.kag, 0u) << "fill puts packages on the grid";
}

TEST(MXFClipWriter, HeaderHeldIndexHasSegmentsAtOneStride) {
    TempDirectory dir;
    SynthOptions o = Small(dir.root);
    o.headerIndex = true;
    o.segmentFrames = 5;
    o.randomIndexPack = false;
    o.rateNumerator = 30000;
    o.rateDenominator = 1001;
    const synth::SynthResult result = synth::Synthesize(o);
    const std::vector<uint8_t> file = ReadFile(result.paths.at(0));
    ASSERT_EQ(result.partitions.size(), 3u);

    const Pack header = ReadPack(file, 0);
    const Pack footer = ReadPack(file, result.partitions[2].offset);
    EXPECT_EQ(header.minorVersion, 3);
    EXPECT_EQ(header.indexSID, 1u);
    EXPECT_EQ(footer.indexBytes, 0u);
    const uint64_t base = header.Contents() + header.headerBytes;
    const uint64_t stride = ReadKLV(file, base).End() - base;
    for (uint64_t n = 0; n < 5; ++n) {
        const KLV segment = ReadKLV(file, base + n * stride);
        EXPECT_EQ(Item(file, segment, mxf_tag::IndexStartPosition), 5 * n);
        EXPECT_EQ(Item(file, segment, mxf_tag::IndexDuration), n < 4 ? 5u : 4u);
    }
    // Without a Random Index Pack the footer's pack and fill end the file.
    EXPECT_EQ(result.partitions[2].offset + header.kag, file.size());
}

TEST(MXFClipWriter, SameOptionsGiveTheSameBytesAnywhere) {
    TempDirectory one, two;
    SynthOptions o = Small(one.root);
    o.codec = synth::SynthCodec::HEVC;
    o.frames = 12;
    o.channels = 3;
    const std::vector<uint8_t> first = ReadFile(synth::Synthesize(o).paths.at(0));
    o.outDir = two.root;
    EXPECT_EQ(ReadFile(synth::Synthesize(o).paths.at(0)), first);
}

// A segment's entries form one local-set item of at most 64 KiB; a long clip gets the body
// partitions it needs. Content made up here spares the encoder.
TEST(MXFClipWriter, LongClipsGetEnoughPartitions) {
    TempDirectory dir;
    SynthOptions o = Small(dir.root);
    o.frames = 1600;
    o.channels = 8;
    o.rateNumerator = 30000;
    o.rateDenominator = 1001;  // sound elements of 1601 and 1602 samples: a slice each
    const synth::ClipPlan plan(o);
    std::vector<synth::PackageContent> packages(o.frames);
    for (uint64_t i = 0; i < o.frames; ++i) {
        packages[i].systemItem = Pattern(40);
        packages[i].picture = Pattern(100 + i % 7);
        packages[i].sound.assign(8, Pattern(plan.SoundSamples(i) * 3));
        packages[i].entry.flags = 0xC0;
    }
    synth::UIDMaker uids(plan.Seed());
    const synth::ClipLayout layout = synth::MXFClipWriter(plan, uids).Write(packages);
    EXPECT_EQ(layout.sliceCount, 8);
    ASSERT_EQ(layout.partitions.size(), 4u);
    EXPECT_EQ(layout.partitions[1].frameCount, 800u);
    EXPECT_EQ(layout.partitions[2].firstFrame, 800u);
}

}  // namespace

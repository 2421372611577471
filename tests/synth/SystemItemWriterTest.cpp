// Drop-frame counting at 29.97 and 59.94, and a picture structure in the system item that points
// at the parameter sets of the picture in the same package. The stamps are read back by the system
// item analysis's test of synthesized clips and, drop-frame and date, by qvclip meta's.
#include <gtest/gtest.h>

#include "support/TestFiles.h"
#include "synth/support/FileWalk.h"

#include "mxf/MXFLabels.h"
#include "tools/qvclip/synth/Synthesizer.h"
#include "tools/qvclip/synth/Timecode.h"

namespace {

using namespace qvtest;
namespace item = mxf_system_item;

TEST(Timecode, DropFrameSkipsTwoNumbersAMinuteButEveryTenth) {
    using synth::Timecode;
    EXPECT_EQ(Timecode::FromFrameCount(1799, 30, true).Text(true), "00:00:59;29");
    EXPECT_EQ(Timecode::FromFrameCount(1800, 30, true).Text(true), "00:01:00;02");
    EXPECT_EQ(Timecode::FromFrameCount(17982, 30, true).Text(true), "00:10:00;00");
    EXPECT_EQ(Timecode::FromFrameCount(3600 * 50, 50, false).Text(false), "01:00:00:00");
    for (uint64_t count : {0ull, 1800ull, 17981ull, 107892ull, 2589407ull})
        EXPECT_EQ(Timecode::FromFrameCount(count, 60, true).FrameCount(60, true), count);
    EXPECT_FALSE(Timecode::Parse("00:01:00;01", 30, true));
    EXPECT_TRUE(Timecode::Parse("00:10:00;00", 30, true));
    EXPECT_FALSE(Timecode::Parse("00:00:00:25", 25, false));
}

TEST(SystemItemWriter, PictureStructureFindsTheParameterSets) {
    TempDirectory dir;
    const synth::SynthResult result = synth::Synthesize({.outDir = dir.root,
                                                         .codec = synth::SynthCodec::HEVC,
                                                         .frames = 3,
                                                         .width = 64,
                                                         .height = 36});
    const std::vector<uint8_t> file = ReadFile(result.paths.at(0));
    for (const synth::SynthPackage& package : result.packages) {
        const std::vector<uint8_t>& bytes = package.systemItem;
        const KLV packs = ReadKLV(bytes, item::PackSize + 3);
        const KLV structure = ReadKLV(bytes, packs.End());
        ASSERT_EQ(structure.key, mxf_label::PictureStructure);
        const uint8_t count = bytes[structure.valueOffset + 1];
        std::vector<int> found;
        for (uint8_t n = 0; n < count; ++n) {
            const uint64_t entry = structure.valueOffset + 2 + 9 * n;
            const uint64_t offset = BigEndian(bytes, entry + 1, 4);
            const uint64_t size = BigEndian(bytes, entry + 5, 4);
            ASSERT_LE(offset + size, package.picture.size);
            found.push_back(bytes[entry]);
            // The NAL unit header there says the same: VPS 32, SPS 33, PPS 34, slices below 32.
            const int type = file[package.picture.offset + offset] >> 1 & 0x3F;
            const int expected[] = {0, 33, 34, 0, -1, 32};
            if (bytes[entry] == item::StructureSlice) {
                EXPECT_LT(type, 32);
            } else {
                EXPECT_EQ(type, expected[bytes[entry]]);
            }
        }
        const std::vector<int> keyPicture = {5, 1, 2, 4}, otherPicture = {4};
        EXPECT_EQ(found, package.key ? keyPicture : otherPicture);
    }
}

}  // namespace

// Damaged files: truncated at many places, or with bytes of partition packs, header metadata,
// index segments and the Random Index Pack overwritten. Opening and reading every element must end
// in the reader's failures or short reads, never a crash or a hang; a truncated file never
// delivers bytes other than those that were written.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "mxf/MXFError.h"
#include "mxf/MXFStream.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace {

using namespace qvtest;

struct Clip {
    synth::SynthResult written;
    std::vector<uint8_t> bytes;
};

const Clip& Written(bool headerIndex) {
    static TempDirectory dir;
    static Clip clips[2];
    Clip& clip = clips[headerIndex];
    if (clip.bytes.empty()) {
        clip.written = synth::Synthesize({.outDir = dir.root,
                                          .name = headerIndex ? "HDRIDX01" : "PARTS001",
                                          .frames = 24,
                                          .width = 64,
                                          .height = 64,
                                          .partitions = headerIndex ? 1u : 3u,
                                          .headerIndex = headerIndex,
                                          .segmentFrames = headerIndex ? 5u : 0u});
        clip.bytes = ReadFile(clip.written.paths.at(0));
    }
    return clip;
}

// Opens `bytes` and reads every element of every frame. Gives the number of elements delivered;
// with `original`, every delivered element must equal what was written.
int OpenAndReadAll(const std::vector<uint8_t>& bytes, const Clip* original) {
    static TempDirectory dir;
    const std::string path = dir.Native("damaged.mxf");
    WriteFile(path, bytes);
    int delivered = 0;
    try {
        CUSharedPtr<MXFStream> stream = CUCreate<MXFStream>(CUCreate<CUStringWin>(path.c_str()));
        if (!stream || stream->Open() != MXFErrorNone) return 0;
        std::vector<uint8_t> buffer(1 << 16);
        const uint64_t frames = std::min<uint64_t>(stream->frameCount, 64);
        for (uint64_t f = 0; f < frames; ++f) {
            for (uint32_t e = 0; e < 4; ++e) {
                const uint64_t got = stream->ReadElement(f, e, buffer.data(), buffer.size());
                if (got == 0) continue;
                ++delivered;
                if (original && e == 1) {
                    const synth::SynthElement& picture = original->written.packages.at(f).picture;
                    EXPECT_EQ(got, picture.size) << "frame " << f;
                    EXPECT_TRUE(std::equal(buffer.begin(), buffer.begin() + got,
                                           original->bytes.begin() + picture.offset))
                        << "frame " << f;
                }
            }
            uint8_t flags = 0;
            stream->GetFrameFlags(f, &flags);
            stream->ReadDataElement(f);
        }
    } catch (const char*) {
        // The narrow-string failures of the reader's constructors and value casts.
    }
    return delivered;
}

class MXFStreamDamage : public ::testing::TestWithParam<bool> {};

TEST_P(MXFStreamDamage, IntactFileReadsEverything) {
    const Clip& clip = Written(GetParam());
    EXPECT_EQ(OpenAndReadAll(clip.bytes, &clip), 24 * 4);
}

TEST_P(MXFStreamDamage, TruncationDeliversOnlyWrittenBytes) {
    const Clip& clip = Written(GetParam());
    for (int i = 0; i < 100; ++i) {
        const size_t size = clip.bytes.size() * i / 100;
        SCOPED_TRACE(size);
        OpenAndReadAll(std::vector<uint8_t>(clip.bytes.begin(), clip.bytes.begin() + size), &clip);
    }
}

// Overwrites `count` bytes spread over [begin, end) with each of the values, one case each.
void Corrupt(const Clip& clip, uint64_t begin, uint64_t end, int count) {
    end = std::min<uint64_t>(end, clip.bytes.size());
    if (begin >= end) return;
    for (int i = 0; i < count; ++i) {
        const uint64_t at = begin + (end - begin) * i / count;
        for (uint8_t value : {0x00, 0x7F, 0x80, 0xFF}) {
            std::vector<uint8_t> damaged = clip.bytes;
            if (damaged[at] == value) continue;
            damaged[at] = value;
            SCOPED_TRACE(testing::Message() << "byte " << at << " = " << int(value));
            OpenAndReadAll(damaged, nullptr);
        }
    }
}

// Partition packs (key, length, every field and the first container items), header metadata,
// index segments (behind the essence of each body partition, or in the header) and the RIP.
TEST_P(MXFStreamDamage, CorruptStructures) {
    const Clip& clip = Written(GetParam());
    for (const synth::PartitionPlace& partition : clip.written.partitions)
        Corrupt(clip, partition.offset, partition.offset + 120, 120);
    Corrupt(clip, 512, clip.written.packages.front().systemOffset, 300);
    for (size_t p = 1; p < clip.written.partitions.size(); ++p) {
        const uint64_t at = clip.written.partitions[p].offset;
        Corrupt(clip, at + 512, at + 512 + 400, 100);
    }
    Corrupt(clip, clip.bytes.size() - 64, clip.bytes.size(), 64);
}

INSTANTIATE_TEST_SUITE_P(Layouts, MXFStreamDamage, ::testing::Values(false, true),
                         [](const auto& info) {
                             return std::string(info.param ? "HeaderIndex" : "Partitions");
                         });

}  // namespace

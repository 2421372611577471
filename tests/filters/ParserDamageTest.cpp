// Damaged clips, cut short or with bytes overwritten, through the MXF parser with all three pins
// connected: either Load refuses the clip, or the graph plays it to its end or to an abort within
// a bounded wait and then stops. The process ends if any of that hangs.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <tuple>

#include "platform/support/LoggingSink.h"
#include "support/ParserGraph.h"

namespace {

using qvtest::RecordingRenderer;

// 24 frames, two key frames, two sound tracks. The index either follows the essence (a cut
// loses it) or sits in the header.
synth::SynthOptions Clip(const std::string& dir, bool headerIndex) {
    synth::SynthOptions o = qvtest::SmallClip(dir, "DMG00001", 24, 12, 2);
    o.headerIndex = headerIndex;
    return o;
}

// Where damage starts: a place in the clip, then `delta` bytes on. `count` bytes from there
// become `value` (repeated every `stride` bytes to the end when `stride` is set); a count of 0
// cuts the file there instead.
enum class Place { Start, System, Picture, Sound, Footer, End };

struct Damage {
    const char* name;
    Place place;
    size_t package;
    int64_t delta;
    size_t count = 0;
    uint8_t value = 0xFF;
    size_t stride = 0;
};

uint64_t Locate(const synth::SynthResult& w, const Damage& d) {
    const synth::SynthPackage& p = w.packages.at(d.package);
    const uint64_t base[] = {0,
                             p.systemOffset,
                             p.picture.offset,
                             p.sound.at(0).offset,
                             w.partitions.back().offset,
                             w.fileSize};
    return base[static_cast<int>(d.place)] + static_cast<uint64_t>(d.delta);
}

void Apply(std::vector<uint8_t>& bytes, const Damage& d, uint64_t at) {
    ASSERT_LT(at, bytes.size());
    if (d.count == 0) return bytes.resize(at);
    for (; at < bytes.size(); at += d.stride) {
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    std::min<uint64_t>(d.count, bytes.size() - at), d.value);
        if (d.stride == 0) break;
    }
}

// Loads the clip and, when it opens, plays it twice with every pin connected.
void PlayDamaged(const synth::SynthResult& damaged, size_t frames) {
    qvtest::ParserGraph g(damaged, {25, 1}, {true, true, true});  // the rate goes unused
    if (FAILED(g.loaded)) {
        EXPECT_EQ(g.loaded, E_FAIL);
        return;
    }
    ASSERT_TRUE(g.connected);
    ASSERT_EQ(g.graph.Run(), S_OK);
    const HRESULT ended = g.graph.WaitForCompletion(60000);
    EXPECT_NE(ended, E_ABORT) << "neither the end nor an abort came";
    EXPECT_EQ(g.graph.Stop(), S_OK);
    FILTER_STATE state = State_Running;
    EXPECT_EQ(g.graph.GetState(&state), S_OK);
    EXPECT_EQ(state, State_Stopped);
    if (ended == S_OK) {
        // Never more than the clip holds.
        for (RecordingRenderer* r : {g.video, g.audio, g.timecode}) {
            EXPECT_EQ(r->Ends(), 1);
            EXPECT_LE(r->Samples().size(), frames);
        }
    }
    // Stopped, the damaged clip plays again.
    for (RecordingRenderer* r : {g.video, g.audio, g.timecode}) r->Clear();
    ASSERT_EQ(g.graph.Run(), S_OK);
    EXPECT_NE(g.graph.WaitForCompletion(60000), E_ABORT);
    EXPECT_EQ(g.graph.Stop(), S_OK);
}

class ParserDamageTest : public testing::TestWithParam<std::tuple<Damage, bool>> {};

TEST_P(ParserDamageTest, LoadRefusesOrTheGraphEndsAndStops) {
    qvtest::TempDirectory dir;
    const auto& [damage, headerIndex] = GetParam();
    const synth::SynthResult written = synth::Synthesize(Clip(dir.root, headerIndex));
    ASSERT_EQ(written.packages.size(), 24u);
    std::vector<uint8_t> bytes = qvtest::ReadFile(written.paths.at(0));
    ASSERT_EQ(bytes.size(), written.fileSize);
    Apply(bytes, damage, Locate(written, damage));
    if (HasFatalFailure()) return;
    synth::SynthResult damaged = written;
    damaged.paths.at(0) = dir.Native("DAMAGED.MXF");
    qvtest::WriteFile(damaged.paths[0], bytes);

    // A hang would otherwise last until the test runner's own limit.
    qv_test::Watchdog watchdog("a damaged clip hung the graph", std::chrono::seconds(120));
    PlayDamaged(damaged, written.packages.size());
}

// Cuts across the whole file, then overwritten lengths, items, metadata and index.
const Damage kDamages[] = {
    {"CutInHeaderPartitionPack", Place::Start, 0, 40},
    {"CutBeforeFirstPackage", Place::System, 0, 0},
    {"CutInFirstSystemItem", Place::System, 0, 20},
    {"CutInFirstPicture", Place::Picture, 0, 5},
    {"CutAtSecondPackage", Place::System, 1, 0},
    {"CutInMiddlePicture", Place::Picture, 12, 3},
    {"CutInLastSound", Place::Sound, 23, 1},
    {"CutAtFooter", Place::Footer, 0, 0},
    {"CutInFooter", Place::Footer, 0, 30},
    {"CutLastByte", Place::End, 0, -1},
    {"PictureLengthBroken", Place::Picture, 3, -4, 4},
    {"SoundLengthHuge", Place::Sound, 5, -3, 3},
    {"SystemItemZeroed", Place::System, 2, 0, 64, 0x00},
    {"HeaderMetadataOverwritten", Place::Start, 0, 0x200, 512, 0xA5},
    {"FooterOverwritten", Place::Footer, 0, 17, 400},
    {"ScatteredBytes", Place::Start, 0, 17, 1, 0x5A, 509},
};

INSTANTIATE_TEST_SUITE_P(Clips, ParserDamageTest,
                         testing::Combine(testing::ValuesIn(kDamages), testing::Bool()),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) +
                                    (std::get<1>(info.param) ? "_HeaderIndex" : "_FooterIndex");
                         });

}  // namespace

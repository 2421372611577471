// Damaged clips, cut short or with bytes overwritten, through the MXF parser with all three pins
// connected: either Load refuses the clip, or the graph plays it to its end or to an abort within
// a bounded wait and then stops. A watchdog ends the process if any of that hangs.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>

#include "support/ParserGraph.h"

namespace {

using qvtest::RecordingRenderer;
using qvtest::TestClip;

class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds limit)
        : thread([this, limit] {
              std::unique_lock<std::mutex> guard(lock);
              if (!changed.wait_for(guard, limit, [this] { return done; })) {
                  std::fprintf(stderr, "watchdog: a damaged clip hung the graph\n");
                  std::abort();
              }
          }) {}
    ~Watchdog() {
        {
            std::lock_guard<std::mutex> guard(lock);
            done = true;
        }
        changed.notify_all();
        thread.join();
    }

private:
    std::mutex lock;
    std::condition_variable changed;
    bool done = false;
    std::thread thread;
};

// A parser on a clip at `path` with a recording renderer on each of its pins.
class DamagedGraph {
public:
    explicit DamagedGraph(const std::string& path) {
        HRESULT hr = S_OK;
        filter = new MXFParseFilter(nullptr, &hr);
        filter->NonDelegatingAddRef();
        graph.AddFilter(filter, L"parser");
        const std::wstring wide(path.begin(), path.end());
        loaded = filter->Load(wide.c_str(), CUCreate<TestClip>(path, true));
        if (FAILED(loaded)) return;
        CParserOutputPin* const pins[] = {filter->VideoPin(), filter->AudioPin(),
                                          filter->TimecodePin()};
        const GUID* const majors[] = {&MEDIATYPE_Video, &MEDIATYPE_Audio, &MEDIATYPE_MXFTimecode};
        for (int i = 0; i < 3; ++i) {
            auto* renderer = new RecordingRenderer(*majors[i], false);
            renderer->NonDelegatingAddRef();
            renderers.push_back(renderer);
            graph.AddFilter(renderer, L"renderer");
            connected =
                connected && SUCCEEDED(graph.ConnectDirect(pins[i], renderer->InputPin(), nullptr));
        }
    }
    ~DamagedGraph() {
        graph.Stop();
        for (auto* r : renderers) r->NonDelegatingRelease();
        filter->NonDelegatingRelease();
    }
    DamagedGraph(const DamagedGraph&) = delete;
    DamagedGraph& operator=(const DamagedGraph&) = delete;

    CFilterGraph graph;
    MXFParseFilter* filter = nullptr;
    HRESULT loaded = E_FAIL;
    bool connected = true;
    std::vector<RecordingRenderer*> renderers;
};

synth::SynthOptions Clip(const std::string& dir, bool headerIndex) {
    synth::SynthOptions o;
    o.outDir = dir;
    o.name = "DMG00001";
    o.width = 128;
    o.height = 72;
    o.frames = 24;
    o.gop = 12;
    o.channels = 2;
    // The index either follows the essence (a cut loses it) or sits in the header.
    o.headerIndex = headerIndex;
    return o;
}

using Bytes = std::vector<uint8_t>;

struct Damage {
    const char* name;
    // Damages the bytes of the clip that `written` describes.
    void (*apply)(Bytes& bytes, const synth::SynthResult& written);
};

void CutAt(Bytes& bytes, uint64_t offset) {
    ASSERT_LT(offset, bytes.size());
    bytes.resize(offset);
}

void Overwrite(Bytes& bytes, uint64_t offset, size_t count, uint8_t value) {
    ASSERT_LE(offset + count, bytes.size());
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), count, value);
}

const synth::SynthPackage& Package(const synth::SynthResult& w, size_t i) {
    return w.packages.at(i);
}
uint64_t Footer(const synth::SynthResult& w) {
    return w.partitions.back().offset;
}

class ParserDamageTest : public testing::TestWithParam<std::tuple<Damage, bool>> {};

TEST_P(ParserDamageTest, LoadRefusesOrTheGraphEndsAndStops) {
    qvtest::TempDirectory dir;
    const auto& [damage, headerIndex] = GetParam();
    const synth::SynthResult written = synth::Synthesize(Clip(dir.root, headerIndex));
    ASSERT_EQ(written.packages.size(), 24u);
    Bytes bytes = qvtest::ReadFile(written.paths.at(0));
    ASSERT_EQ(bytes.size(), written.fileSize);
    damage.apply(bytes, written);
    if (HasFatalFailure()) return;
    const std::string path = dir.Native("DAMAGED.MXF");
    qvtest::WriteFile(path, bytes);

    Watchdog watchdog(std::chrono::seconds(120));
    DamagedGraph g(path);
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
        for (RecordingRenderer* r : g.renderers) {
            EXPECT_EQ(r->Ends(), 1);
            // Never more than the clip holds.
            EXPECT_LE(r->Samples().size(), written.packages.size());
        }
    }
    // A damaged clip plays again from the start just as it did the first time.
    for (RecordingRenderer* r : g.renderers) r->Clear();
    ASSERT_EQ(g.graph.Run(), S_OK);
    EXPECT_NE(g.graph.WaitForCompletion(60000), E_ABORT);
    EXPECT_EQ(g.graph.Stop(), S_OK);
}

INSTANTIATE_TEST_SUITE_P(Clips, ParserDamageTest,
                         testing::Combine(testing::
                                              Values(
                                                  // Cut short.
                                                  Damage{
                                                      "CutInHeaderPartitionPack",
                                                      [](Bytes& b, const auto&) { CutAt(b, 40); }},
                                                  Damage{"CutBeforeFirstPackage",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(b, Package(w, 0).systemOffset);
                                                         }},
                                                  Damage{"CutInFirstSystemItem",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(b,
                                                                   Package(w, 0).systemOffset + 20);
                                                         }},
                                                  Damage{"CutInFirstPicture",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(b,
                                                                   Package(w, 0).picture.offset +
                                                                       Package(w, 0).picture.size /
                                                                           2);
                                                         }},
                                                  Damage{"CutAtSecondPackage",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(b, Package(w, 1).systemOffset);
                                                         }},
                                                  Damage{"CutInMiddlePicture",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(
                                                                 b,
                                                                 Package(w, 12).picture.offset + 3);
                                                         }},
                                                  Damage{"CutInLastSound",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(
                                                                 b,
                                                                 Package(w, 23).sound.at(1).offset +
                                                                     1);
                                                         }},
                                                  Damage{"CutAtFooter",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(b, Footer(w));
                                                         }},
                                                  Damage{"CutInFooter",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(b, Footer(w) + 30);
                                                         }},
                                                  Damage{"CutLastByte",
                                                         [](Bytes& b, const auto& w) {
                                                             CutAt(b, w.fileSize - 1);
                                                         }},
                                                  // Overwritten.
                                                  Damage{"PictureLengthBroken",
                                                         [](Bytes& b, const auto& w) {
                                                             Overwrite(
                                                                 b,
                                                                 Package(w, 3).picture.offset - 4,
                                                                 4, 0xFF);
                                                         }},
                                                  Damage{"SoundLengthHuge",
                                                         [](Bytes& b, const auto& w) {
                                                             Overwrite(
                                                                 b,
                                                                 Package(w, 5).sound.at(0).offset -
                                                                     3,
                                                                 3, 0xFF);
                                                         }},
                                                  Damage{"SystemItemZeroed",
                                                         [](Bytes& b, const auto& w) {
                                                             Overwrite(b,
                                                                       Package(w, 2).systemOffset,
                                                                       64, 0x00);
                                                         }},
                                                  Damage{"HeaderMetadataOverwritten",
                                                         [](Bytes& b, const auto& w) {
                                                             Overwrite(
                                                                 b, 0x200,
                                                                 std::min<uint64_t>(
                                                                     512,
                                                                     Package(w, 0).systemOffset -
                                                                         0x200),
                                                                 0xA5);
                                                         }},
                                                  Damage{"FooterOverwritten",
                                                         [](Bytes& b, const auto& w) {
                                                             Overwrite(b, Footer(w) + 17,
                                                                       std::min<uint64_t>(
                                                                           400, w.fileSize -
                                                                                    Footer(w) - 17),
                                                                       0xFF);
                                                         }},
                                                  Damage{"ScatteredBytes",
                                                         [](Bytes& b, const auto&) {
                                                             for (size_t i = 17; i < b.size();
                                                                  i += 509)
                                                                 b[i] ^= 0xFF;
                                                         }}),
                                          testing::Bool()),
                         [](const auto& info) {
                             return std::string(std::get<0>(info.param).name) +
                                    (std::get<1>(info.param) ? "_HeaderIndex" : "_FooterIndex");
                         });

}  // namespace

// The timecode renderers: what they post to the host for each sample (timecode, then metadata
// with the ancillary bytes), what they refuse, what a damaged sample leaves, and the MXF renderer
// behind a parser: the seek target shown at once while paused, then one message pair per frame.
// (A message pair for every frame of a whole clip, drop frame included, is qvclip's
// PlayTimecodeTest; that the timecode pin follows the picture's jumps is ParserLatenessTest's.)
#include "filters/TimecodeRenderer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <optional>

#include "filters/FilterCreators.h"
#include "filters/FilterIds.h"
#include "filters/MP4TimecodeRenderer.h"
#include "filters/MetaDataMessage.h"
#include "support/ByteWriter.h"
#include "support/ParserGraph.h"
#include "tools/qvclip/synth/Timecode.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr UINT kTimecodeMessage = 0x8001, kMetaDataMessage = 0x8002;

// One message as the host saw it; a metadata message's blocks are read and freed on arrival.
struct Posted {
    UINT message = 0;
    WPARAM wParam = 0;
    LPARAM lParam = 0;
    uint32_t number = 0;     // metadata: the u32 that wParam points to
    Bytes block;             // metadata: the record's bytes
    bool nullBlock = false;  // metadata: the record's block pointer was null
};

Posted Take(const MSG& m) {
    Posted p{m.message, m.wParam, m.lParam, 0, {}, false};
    if (m.message == kMetaDataMessage) {
        p.number = MetaDataMessageNumber(m.wParam);
        const MetaDataRecord* record = MetaDataMessageRecord(m.lParam);
        p.nullBlock = record->block == nullptr;
        if (record->block) p.block.assign(record->block, record->block + record->size);
        FreeMetaDataMessage(m.wParam, m.lParam);
    }
    return p;
}

// A host window: a registered queue whose leftover messages are freed when it goes.
struct HostQueue {
    HWND hwnd = RegisterMessageWindow();
    ~HostQueue() {
        for (const MSG& m : UnregisterMessageWindow(hwnd)) Take(m);
    }
    std::optional<Posted> Next() {
        MSG m;
        if (!CMessageWindows::GetMessage(hwnd, &m, std::chrono::seconds(60))) return std::nullopt;
        return Take(m);
    }
    std::vector<Posted> Drain() {
        std::vector<Posted> all;
        MSG m;
        while (CMessageWindows::PeekMessage(hwnd, &m)) all.push_back(Take(m));
        return all;
    }
};

// A sample over bytes the test owns.
struct OwnedSample {
    explicit OwnedSample(Bytes data)
        : bytes(std::move(data)),
          sample("test sample", nullptr, bytes.data(), static_cast<int32_t>(bytes.size())) {}
    Bytes bytes;
    CMediaSample sample;
};

// The MXF timecode sample: u64 S, the system item, u64 A, the ancillary bytes.
Bytes MXFSample(const Bytes& system, const Bytes& ancillary) {
    return qvtest::ByteWriter()
        .U32LE(static_cast<uint32_t>(system.size()))
        .U32LE(0)
        .Bytes(system)
        .U32LE(static_cast<uint32_t>(ancillary.size()))
        .U32LE(0)
        .Bytes(ancillary)
        .Data();
}

// A system metadata pack whose user stamp holds the timecode, as SMPTE 12M BCD bytes.
Bytes SystemItem(uint8_t h, uint8_t m, uint8_t s, uint8_t f, bool drop) {
    auto bcd = [](uint8_t v) { return static_cast<uint8_t>((v / 10) << 4 | v % 10); };
    Bytes pack(57, 0);
    pack[40] = 0x81;  // the user stamp is a timecode
    pack[41] = static_cast<uint8_t>(bcd(f) | (drop ? 0x40 : 0));
    pack[42] = bcd(s);
    pack[43] = bcd(m);
    pack[44] = bcd(h);
    return pack;
}

uint32_t Packed(uint32_t h, uint32_t m, uint32_t s, uint32_t f) {
    return h | m << 8 | s << 16 | f << 24;
}

template <class Renderer>
struct Made {
    explicit Made(CUnknown* (*create)(IUnknown*, HRESULT*)) {
        r = static_cast<Renderer*>(create(nullptr, &hr));
        if (r) r->NonDelegatingAddRef();
    }
    ~Made() {
        if (r) r->NonDelegatingRelease();
    }
    // Both messages to `queue`.
    void Aim(const HostQueue& queue) {
        r->SetTimecodeWindow(queue.hwnd, kTimecodeMessage);
        ASSERT_EQ(r->SetMetaDataWindow(queue.hwnd, kMetaDataMessage), S_OK);
    }
    HRESULT hr = S_OK;
    Renderer* r = nullptr;
};

TEST(TimecodeRendererTest, PostsTheTimecodeThenTheAncillaryBytesOfEachSample) {
    Made<CTimecodeRenderer> made(CreateTimecodeRenderer);
    ASSERT_EQ(made.hr, S_OK);
    HostQueue queue;
    made.Aim(queue);
    const Bytes ancillary = {1, 2, 3, 4, 5};
    // With and without ancillary bytes: the metadata message comes either way.
    for (const Bytes& a : {ancillary, Bytes{}}) {
        OwnedSample s(MXFSample(SystemItem(10, 20, 30, 12, a.empty()), a));
        ASSERT_EQ(made.r->DoRenderSample(&s.sample), S_OK);
        const std::vector<Posted> got = queue.Drain();
        ASSERT_EQ(got.size(), 2u);
        EXPECT_EQ(got[0].message, kTimecodeMessage);
        EXPECT_EQ(got[0].wParam, a.empty() ? 1u : 0u);  // drop frame
        EXPECT_EQ(static_cast<uint32_t>(got[0].lParam), Packed(10, 20, 30, 12));
        EXPECT_EQ(got[1].message, kMetaDataMessage);
        EXPECT_EQ(got[1].number, kMetaDataMessage);
        EXPECT_EQ(got[1].block, a);
        EXPECT_EQ(got[1].nullBlock, a.empty());
    }
    TimecodeInfoEX now;
    made.r->GetTimecode(now);
    EXPECT_EQ(Packed(now.hours, now.minutes, now.seconds, now.frames), Packed(10, 20, 30, 12));
    EXPECT_EQ(now.dropFrame, 1);
    EXPECT_TRUE(made.r->GetAnalyzedData());
    EXPECT_EQ(made.r->DoRenderSample(nullptr), E_POINTER);
}

// Samples that give no message: the last frame's timecode and analysis stay.
struct Damaged {
    const char* name;
    Bytes bytes;
};

Bytes WithSize(Bytes sample, size_t at, uint64_t value) {
    std::memcpy(sample.data() + at, &value, 8);
    return sample;
}

const Bytes kGood = MXFSample(SystemItem(1, 2, 3, 4, false), {9, 9});

std::vector<Damaged> DamagedSamples() {
    return {
        {"SystemItemTheAnalyserRejects", MXFSample(Bytes(57, 0), {7})},
        {"EmptySystemItem", MXFSample({}, {})},
        {"SystemSizePastTheEnd", WithSize(kGood, 0, 58)},
        {"HugeSystemSize", WithSize(kGood, 0, ~0ull)},
        {"AncillarySizePastTheEnd", WithSize(kGood, 8 + 57, 3)},
        {"HugeAncillarySize", WithSize(kGood, 8 + 57, ~0ull - 20)},
        {"ShorterThanTheSizes", Bytes(15, 0)},
    };
}

class DamagedSampleTest : public testing::TestWithParam<Damaged> {};

TEST_P(DamagedSampleTest, PostsNothingAndKeepsTheLastFrame) {
    Made<CTimecodeRenderer> made(CreateTimecodeRenderer);
    HostQueue queue;
    made.Aim(queue);
    OwnedSample good(kGood);
    ASSERT_EQ(made.r->DoRenderSample(&good.sample), S_OK);
    ASSERT_EQ(queue.Drain().size(), 2u);
    const CUSharedPtr<CMBXAnalyzeSystemItemData> before = made.r->GetAnalyzedData();

    OwnedSample bad(GetParam().bytes);
    EXPECT_EQ(made.r->DoRenderSample(&bad.sample), S_OK);
    EXPECT_TRUE(queue.Drain().empty());
    TimecodeInfoEX now;
    made.r->GetTimecode(now);
    EXPECT_EQ(Packed(now.hours, now.minutes, now.seconds, now.frames), Packed(1, 2, 3, 4));
    EXPECT_EQ(made.r->GetAnalyzedData().Get(), before.Get());
}

INSTANTIATE_TEST_SUITE_P(Samples, DamagedSampleTest, testing::ValuesIn(DamagedSamples()),
                         [](const auto& info) { return std::string(info.param.name); });

// Without a window, or with one the host closed, nothing arrives and the blocks are freed (the
// address sanitizer's leak check holds the renderer to that).
TEST(TimecodeRendererTest, MessagesWithoutAReceiverAreFreed) {
    for (bool closed : {false, true}) {
        Made<CTimecodeRenderer> made(CreateTimecodeRenderer);
        if (closed) {
            HWND gone = RegisterMessageWindow();
            made.r->SetTimecodeWindow(gone, kTimecodeMessage);
            ASSERT_EQ(made.r->SetMetaDataWindow(gone, kMetaDataMessage), S_OK);
            UnregisterMessageWindow(gone);
        }
        OwnedSample s(kGood);
        EXPECT_EQ(made.r->DoRenderSample(&s.sample), S_OK);
        TimecodeInfoEX now;
        made.r->GetTimecode(now);
        EXPECT_EQ(now.frames, 4);  // rendered all the same
    }
}

TEST(TimecodeRendererTest, RefusesPrerollOtherTypesAndANullWindow) {
    Made<CTimecodeRenderer> made(CreateTimecodeRenderer);
    ASSERT_TRUE(made.r);
    OwnedSample s(kGood);
    EXPECT_EQ(made.r->PrepareReceive(&s.sample), S_OK);
    s.sample.SetPreroll(true);
    EXPECT_EQ(made.r->PrepareReceive(&s.sample), VFW_E_SAMPLE_REJECTED);

    EXPECT_EQ(made.r->CheckMediaType(nullptr), E_POINTER);
    CMediaType type;
    type.SetType(&MEDIATYPE_MXFTimecode);
    type.SetSubtype(&MEDIASUBTYPE_PrivateStream);
    EXPECT_EQ(made.r->CheckMediaType(&type), S_OK);
    type.SetSubtype(&MEDIASUBTYPE_PCM);
    EXPECT_EQ(made.r->CheckMediaType(&type), E_INVALIDARG);
    type.SetType(&MEDIATYPE_MP4Timecode);
    type.SetSubtype(&MEDIASUBTYPE_PrivateStream);
    EXPECT_EQ(made.r->CheckMediaType(&type), E_INVALIDARG);

    HostQueue queue;
    made.Aim(queue);
    EXPECT_EQ(made.r->SetMetaDataWindow(nullptr, 7), E_POINTER);
    ASSERT_EQ(made.r->DoRenderSample(&s.sample), S_OK);
    const std::vector<Posted> got = queue.Drain();
    ASSERT_EQ(got.size(), 2u);  // the old target kept
    EXPECT_EQ(got[1].message, kMetaDataMessage);
}

TEST(MP4TimecodeRendererTest, FourBytesOrMoreGiveBothMessagesAndFewerNone) {
    Made<MP4TimecodeRenderer> made(CreateMP4TimecodeRenderer);
    ASSERT_EQ(made.hr, S_OK);
    HostQueue queue;
    made.Aim(queue);
    OwnedSample shortSample({0x11, 0x22, 0x33});
    ASSERT_EQ(made.r->DoRenderSample(&shortSample.sample), S_OK);
    EXPECT_TRUE(queue.Drain().empty());

    for (const Bytes& bytes :
         {Bytes{0x11, 0x22, 0x33, 0x44}, Bytes{0x11, 0x22, 0x33, 0x44, 0x55}}) {
        OwnedSample s(bytes);
        ASSERT_EQ(made.r->DoRenderSample(&s.sample), S_OK);
        const std::vector<Posted> got = queue.Drain();
        ASSERT_EQ(got.size(), 2u);
        EXPECT_EQ(got[0].message, kTimecodeMessage);
        EXPECT_EQ(got[0].wParam, 0u);
        EXPECT_EQ(static_cast<uint32_t>(got[0].lParam), 0x44332211u);
        EXPECT_EQ(got[1].message, kMetaDataMessage);
        EXPECT_EQ(got[1].block, bytes);
    }
    TimecodeInfoEX now;
    made.r->GetTimecode(now);
    EXPECT_EQ(Packed(now.hours, now.minutes, now.seconds, now.frames), 0u);
    EXPECT_FALSE(made.r->GetAnalyzedData());

    CMediaType type;
    type.SetType(&MEDIATYPE_MP4Timecode);
    type.SetSubtype(&MEDIASUBTYPE_PrivateStream);
    EXPECT_EQ(made.r->CheckMediaType(&type), S_OK);
}

// ---- Behind a parser ------------------------------------------------------------------------

// A timecode renderer without a clock: samples render as they come.
class TestTimecodeRenderer : public CTimecodeRenderer {
public:
    TestTimecodeRenderer() : CTimecodeRenderer(nullptr, &hr, CLSID_TimecodeRenderer) {}
    HRESULT SetSyncSource(IReferenceClock*) override {
        return CTimecodeRenderer::SetSyncSource(nullptr);
    }
    HRESULT hr = S_OK;
};

constexpr const char* kStart = "10:00:00:00";  // of the 25 fps clip behind the parser

// Clip frame of a timecode message.
int64_t FrameOf(const Posted& p) {
    const auto l = static_cast<uint32_t>(p.lParam);
    const synth::Timecode t{l & 0xFF, l >> 8 & 0xFF, l >> 16 & 0xFF, l >> 24};
    return static_cast<int64_t>(t.FrameCount(25, false) -
                                synth::Timecode::Parse(kStart, 25, false)->FrameCount(25, false));
}

// Clip frames of the timecode messages of `got`, each checked to be followed by its metadata
// message: the test clips carry no ancillary data, so a record of size 0 with a null block.
std::vector<int64_t> FramesOf(const std::vector<Posted>& got) {
    std::vector<int64_t> frames;
    for (size_t i = 0; i < got.size(); i += 2) {
        EXPECT_EQ(got[i].message, kTimecodeMessage);
        EXPECT_EQ(got[i].wParam, 0u);  // no drop frame
        frames.push_back(FrameOf(got[i]));
        if (i + 1 == got.size()) {
            ADD_FAILURE() << "no metadata message behind the last timecode";
            break;
        }
        EXPECT_EQ(got[i + 1].message, kMetaDataMessage);
        EXPECT_TRUE(got[i + 1].nullBlock);
    }
    return frames;
}

TEST(TimecodeGraphTest, WhilePausedTheSeekTargetShowsAtOnceAndRunDoesNotRepeatIt) {
    qvtest::TempDirectory dir;
    HostQueue queue;  // outlives the graph, whose renderer posts to it
    synth::SynthOptions o = qvtest::SmallClip(dir.root, "TIME0001", 30, 12, 0);
    o.timecode = kStart;
    qvtest::ParserGraph g(o, {false, false, false});
    ASSERT_EQ(g.loaded, S_OK);
    auto* renderer = new TestTimecodeRenderer;
    renderer->NonDelegatingAddRef();
    g.graph.AddFilter(renderer, L"timecode");
    renderer->NonDelegatingRelease();  // the graph's reference keeps it
    ASSERT_EQ(g.graph.ConnectDirect(g.filter->TimecodePin(), renderer->InputPin(), nullptr), S_OK);
    renderer->SetTimecodeWindow(queue.hwnd, kTimecodeMessage);
    renderer->SetMetaDataWindow(queue.hwnd, kMetaDataMessage);
    ASSERT_EQ(g.graph.Pause(), S_OK);
    std::optional<Posted> first = queue.Next();
    ASSERT_TRUE(first);
    EXPECT_EQ(FrameOf(*first), 0);
    ASSERT_TRUE(queue.Next());  // its metadata

    // Seek through the renderer, which passes it up to the parser's pin.
    void* answer = nullptr;
    ASSERT_EQ(renderer->NonDelegatingQueryInterface(IID_IMediaSeeking, &answer), S_OK);
    auto* seeking = static_cast<IMediaSeeking*>(answer);
    ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    int64_t target = 17;  // the key frame before it is 12: no preroll frame shows
    EXPECT_EQ(seeking->SetPositions(&target, AM_SEEKING_AbsolutePositioning, nullptr, 0), S_OK);
    seeking->Release();
    std::optional<Posted> shown = queue.Next();
    ASSERT_TRUE(shown);
    EXPECT_EQ(FrameOf(*shown), 17);
    TimecodeInfoEX now;
    renderer->GetTimecode(now);
    EXPECT_EQ(now.frames, 17);
    ASSERT_TRUE(queue.Next());  // its metadata

    ASSERT_EQ(g.Play(), S_OK);
    std::vector<int64_t> rest;
    for (int64_t f = 18; f < 30; ++f) rest.push_back(f);
    EXPECT_EQ(FramesOf(queue.Drain()), rest);
}

}  // namespace

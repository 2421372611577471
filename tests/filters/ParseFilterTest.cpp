// The MXF parser filter without a running graph: Load, which pin answers IMediaSeeking,
// the seeking operations and their argument checks, and the media types with their format blocks,
// checked against what a separately opened StreamManager reports for the same clip.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <tuple>

#include "clipmodel/StreamManager.h"
#include "filters/VideoFormat.h"
#include "filters/WaveFormat.h"
#include "support/ParserGraph.h"

namespace {

using qvtest::TestClip;

// 20 frames at 30000/1001, a key frame every 6.
synth::SynthOptions SmallClip(const std::string& dir, const char* name = "UNIT0001") {
    synth::SynthOptions o = qvtest::SmallClip(dir, name, 20, 6, 2);
    o.rateNumerator = 30000, o.rateDenominator = 1001;
    return o;
}

// floor(n * 10^7 * den / num + 0.5) at 30000/1001 unless told, and its inverse, in exact integers.
int64_t MediaTimeOf(int64_t n, int64_t num = 30000, int64_t den = 1001) {
    return static_cast<int64_t>((__int128{n} * 20000000 * den + num) / (2 * __int128{num}));
}
int64_t FramesOf(int64_t t) {
    return static_cast<int64_t>((__int128{t} * 60000 + 10010000000) / __int128{20020000000});
}

template <class T>
T At(const CMediaType& type, uint32_t offset) {
    T value{};
    std::memcpy(&value, type.Format() + offset, sizeof value);
    return value;
}

// A parser filter outside any graph with a directory of its own; with `load`, the small clip
// (as `adjust` changes it) is written there and loaded.
class Parser {
public:
    explicit Parser(bool load = false, const std::function<void(synth::SynthOptions&)>& adjust = {},
                    bool fileList = true)
        : fileList(fileList), options(SmallClip(dir.root)) {
        filter = new MXFParseFilter(nullptr, &hr);
        filter->NonDelegatingAddRef();
        if (adjust) adjust(options);
        if (load) loaded = Load((clip = synth::Synthesize(options)).paths.at(0));
    }
    ~Parser() { filter->NonDelegatingRelease(); }

    HRESULT Load(const std::string& path) {
        const std::wstring wide(path.begin(), path.end());
        return filter->Load(wide.c_str(), CUCreate<TestClip>(path, fileList));
    }
    // The pin's IMediaSeeking, or null when it refuses.
    IMediaSeeking* Seeking(CParserOutputPin* pin = nullptr, HRESULT* result = nullptr) {
        void* seeking = nullptr;
        const HRESULT hr = (pin ? pin : filter->VideoPin())
                               ->NonDelegatingQueryInterface(IID_IMediaSeeking, &seeking);
        if (result) *result = hr;
        auto* s = static_cast<IMediaSeeking*>(seeking);
        if (s) s->Release();  // the pin lives as long as the filter
        return s;
    }
    // The video pin's IMediaSeeking, counting in frames.
    IMediaSeeking* FrameSeeking() {
        IMediaSeeking* s = Seeking();
        EXPECT_EQ(s->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
        return s;
    }

    qvtest::TempDirectory dir;
    const bool fileList;
    synth::SynthOptions options;
    HRESULT hr = S_OK;
    HRESULT loaded = E_FAIL;
    synth::SynthResult clip;
    MXFParseFilter* filter = nullptr;
};

TEST(ParseFilterTest, NoFileIsReportedAndOneClipIsAllItTakes) {
    Parser p(true);
    ASSERT_EQ(p.hr, S_OK);
    ASSERT_EQ(p.loaded, S_OK);
    wchar_t* name = nullptr;
    EXPECT_EQ(p.filter->GetCurFile(&name, nullptr), E_FAIL);
    EXPECT_EQ(name, nullptr);

    EXPECT_EQ(p.Load(synth::Synthesize(SmallClip(p.dir.root, "UNIT0002")).paths.at(0)), E_FAIL);
    int64_t duration = 0;
    ASSERT_EQ(p.FrameSeeking()->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, 20);  // still the first clip
}

TEST(ParseFilterTest, APathThatDoesNotOpenFailsAndLeavesTheInitialRange) {
    qvtest::TempDirectory dir;
    const std::string garbage = dir.Native("GARBAGE.MXF");
    qvtest::WriteFile(garbage, qvtest::Pattern(4096));
    for (const std::string& path : {dir.Native("MISSING.MXF"), garbage}) {
        SCOPED_TRACE(path);
        Parser p;
        EXPECT_EQ(p.Load(path), E_FAIL);
        IMediaSeeking* s = p.FrameSeeking();
        int64_t duration = 0, start = -1, stop = 0;
        EXPECT_EQ(s->GetDuration(&duration), S_OK);
        EXPECT_EQ(duration, 0x3FFFFFFFFFFFFFFF);
        EXPECT_EQ(s->GetPositions(&start, &stop), S_OK);
        EXPECT_EQ(start, 0);
        EXPECT_EQ(stop, 0x3FFFFFFFFFFFFFFF);
        CMediaType type;  // no clip to describe: a failure, not a crash
        EXPECT_TRUE(FAILED(p.filter->VideoPin()->GetMediaType(0, &type)));
        // The host may then give the filter a clip that opens.
        synth::SynthOptions good = SmallClip(dir.root, "GOOD0001");
        good.frames = 3;
        EXPECT_EQ(p.Load(synth::Synthesize(good).paths.at(0)), S_OK);
        EXPECT_EQ(s->GetDuration(&duration), S_OK);
        EXPECT_EQ(duration, 3);
    }
}

// The pin asked first for IMediaSeeking: 0 video, 1 audio, 2 timecode. Only it answers.
class SeekingPinTest : public testing::TestWithParam<int> {};

TEST_P(SeekingPinTest, OnlyThePinAskedFirstAnswers) {
    Parser p;
    CParserOutputPin* const pins[] = {p.filter->VideoPin(), p.filter->AudioPin(),
                                      p.filter->TimecodePin()};
    IMediaSeeking* chosen = p.Seeking(pins[GetParam()]);
    ASSERT_NE(chosen, nullptr);
    for (int i = 0; i < 3; ++i) {
        HRESULT hr = S_OK;
        EXPECT_EQ(p.Seeking(pins[i], &hr), i == GetParam() ? chosen : nullptr) << i;
        EXPECT_EQ(hr, i == GetParam() ? S_OK : E_NOINTERFACE) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(FirstAsked, SeekingPinTest, testing::Values(0, 1, 2));

TEST(ParseFilterTest, SeekingTakesFramesAndMediaTimeOnly) {
    Parser p;
    IMediaSeeking* s = p.Seeking();
    int64_t value = -1;
    EXPECT_EQ(s->GetPositions(nullptr, &value), E_POINTER);
    EXPECT_EQ(s->GetPositions(&value, nullptr), E_POINTER);
    const struct {
        GUID format;
        HRESULT supported, set;
    } formats[] = {{TIME_FORMAT_MEDIA_TIME, S_OK, S_OK},   {TIME_FORMAT_FIELD, S_FALSE, E_NOTIMPL},
                   {TIME_FORMAT_BYTE, S_FALSE, E_NOTIMPL}, {TIME_FORMAT_SAMPLE, S_FALSE, E_NOTIMPL},
                   {TIME_FORMAT_NONE, S_FALSE, E_NOTIMPL}, {TIME_FORMAT_FRAME, S_OK, S_OK}};
    for (const auto& f : formats) {
        EXPECT_EQ(s->IsFormatSupported(&f.format), f.supported);
        EXPECT_EQ(s->SetTimeFormat(&f.format), f.set);
        EXPECT_EQ(s->IsUsingTimeFormat(&f.format), f.set == S_OK ? S_OK : S_FALSE);
    }
}

TEST(ParseFilterTest, ConvertTimeFormatRoundsAtTheClipRate) {
    Parser p(true);
    ASSERT_EQ(p.loaded, S_OK);
    IMediaSeeking* s = p.FrameSeeking();  // a null format means frames now
    const GUID *frame = &TIME_FORMAT_FRAME, *media = &TIME_FORMAT_MEDIA_TIME;
    int64_t out = 0;
    for (const int64_t n : {0, 1, 2, 3, 7, 20, 1000, 123457}) {
        EXPECT_EQ(s->ConvertTimeFormat(&out, media, n, nullptr), S_OK);
        EXPECT_EQ(out, MediaTimeOf(n)) << n;
    }
    // One frame lasts 333666.66... units: around the middle between two frames.
    for (const int64_t t : {0, 166833, 166834, 333667, 500499, 500500, 99999999}) {
        EXPECT_EQ(s->ConvertTimeFormat(&out, nullptr, t, media), S_OK);
        EXPECT_EQ(out, FramesOf(t)) << t;
    }
    for (const GUID* same : {frame, media, &TIME_FORMAT_BYTE, static_cast<const GUID*>(nullptr)}) {
        out = 0;
        EXPECT_EQ(s->ConvertTimeFormat(&out, same, 12345, same), S_OK);
        EXPECT_EQ(out, 12345);
    }
    EXPECT_EQ(s->ConvertTimeFormat(&out, frame, 5, &TIME_FORMAT_BYTE), E_INVALIDARG);
    EXPECT_EQ(s->ConvertTimeFormat(&out, &TIME_FORMAT_FIELD, 5, media), E_INVALIDARG);
    EXPECT_EQ(s->ConvertTimeFormat(&out, &TIME_FORMAT_SAMPLE, 5, nullptr), E_INVALIDARG);
    EXPECT_EQ(s->ConvertTimeFormat(nullptr, media, 5, frame), E_POINTER);
}

constexpr uint32_t kAbs = AM_SEEKING_AbsolutePositioning, kRel = AM_SEEKING_RelativePositioning,
                   kInc = AM_SEEKING_IncrementalPositioning, kKey = AM_SEEKING_SeekToKeyFrame,
                   kTime = AM_SEEKING_ReturnTime;

struct PositionsCase {
    const char* name;
    uint32_t currentFlags;
    bool current;  // whether a current position is passed
    uint32_t stopFlags;
    bool stop;
    HRESULT expected;
};

class SetPositionsCheckTest : public testing::TestWithParam<PositionsCase> {};

TEST_P(SetPositionsCheckTest, AnswersAndMovesNothingWhenRefused) {
    Parser p(true);
    ASSERT_EQ(p.loaded, S_OK);
    IMediaSeeking* s = p.FrameSeeking();
    const PositionsCase& c = GetParam();
    int64_t current = 4, stop = 9;
    EXPECT_EQ(s->SetPositions(c.current ? &current : nullptr, c.currentFlags,
                              c.stop ? &stop : nullptr, c.stopFlags),
              c.expected);
    if (c.expected == S_OK) return;
    ASSERT_EQ(s->GetPositions(&current, &stop), S_OK);
    EXPECT_EQ(current, 0);
    EXPECT_EQ(stop, 20);
}

// Stop errors come before current errors; a current position needs absolute or relative
// positioning, a stop position any of the three.
const PositionsCase kPositionsCases[] = {
    // clang-format off
    {"NoFlags", 0, false, 0, false, S_FALSE},
    {"CurrentNull", kAbs, false, 0, false, E_POINTER},
    {"CurrentIncremental", kInc, true, 0, false, E_INVALIDARG},
    {"StopNull", 0, false, kAbs, false, E_POINTER},
    {"StopKeyFrameOnly", 0, false, kKey, true, E_INVALIDARG},
    {"StopNullBeforeCurrentBits", kInc, true, kAbs, false, E_POINTER},
    {"StopBitsBeforeCurrentNull", kAbs, false, kTime, true, E_INVALIDARG},
    {"StopIncrementalAlone", 0, false, kInc, true, S_OK},
    {"StopRelativeAlone", 0, false, kRel, true, S_OK},
    // clang-format on
};

INSTANTIATE_TEST_SUITE_P(Table, SetPositionsCheckTest, testing::ValuesIn(kPositionsCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ParseFilterTest, SetPositionsWhileStoppedMovesTheRangeWithinTheClip) {
    Parser p(true);
    ASSERT_EQ(p.loaded, S_OK);
    IMediaSeeking* s = p.FrameSeeking();
    auto positions = [s] {
        int64_t start = -1, stop = -1;
        EXPECT_EQ(s->GetPositions(&start, &stop), S_OK);
        return std::make_pair(start, stop);
    };
    using Range = std::pair<int64_t, int64_t>;
    int64_t current = 5, end = 4;
    EXPECT_EQ(s->SetPositions(&current, kAbs, nullptr, 0), S_OK);
    EXPECT_EQ(positions(), Range(5, 20));
    current = 3;
    EXPECT_EQ(s->SetPositions(&current, kRel | kTime, nullptr, 0), S_OK);
    EXPECT_EQ(current, MediaTimeOf(8));  // written back as media time
    EXPECT_EQ(s->SetPositions(nullptr, 0, &end, kInc | kTime), S_OK);
    EXPECT_EQ(end, MediaTimeOf(12));
    EXPECT_EQ(positions(), Range(8, 12));
    EXPECT_EQ(s->SetPositions(&current, 0, &end, 0), S_FALSE);
    EXPECT_EQ(positions(), Range(8, 12));
    current = 1000;  // past the clip: the frame count
    EXPECT_EQ(s->SetPositions(&current, kAbs, nullptr, 0), S_OK);
    EXPECT_EQ(positions().first, 20);

    ASSERT_EQ(s->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
    current = MediaTimeOf(7);
    EXPECT_EQ(s->SetPositions(&current, kAbs, nullptr, 0), S_OK);
    EXPECT_EQ(positions().first, MediaTimeOf(7));
    int64_t duration = 0;
    ASSERT_EQ(s->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, MediaTimeOf(20));
}

struct VideoCase {
    const char* name;
    bool fileList;
    uint32_t scale;
    synth::SynthCodec codec;
    uint32_t gop, rateNumerator, rateDenominator;
    bool rgba;
    uint32_t gamma, gamut;
};

class VideoFormatTest : public testing::TestWithParam<VideoCase> {};

TEST_P(VideoFormatTest, BlockDescribesTheClipAtItsScale) {
    const VideoCase& c = GetParam();
    const auto adjust = [&c](synth::SynthOptions& o) {
        o.codec = c.codec, o.gop = c.gop, o.rateNumerator = c.rateNumerator;
        o.rateDenominator = c.rateDenominator, o.rgbaDescriptor = c.rgba;
        o.bitDepth = c.codec == synth::SynthCodec::HEVC ? 12 : 10;
        o.gammaCode = c.gamma, o.gamutCode = c.gamut;
    };
    Parser p(true, adjust, c.fileList);
    ASSERT_EQ(p.loaded, S_OK);
    const synth::SynthOptions& o = p.options;
    StreamManager clip;  // the same clip, opened apart from the filter
    const std::string& path = p.clip.paths.at(0);
    ASSERT_EQ(clip.Open(CUCreate<CUStringWin>(path.c_str()), CUCreate<TestClip>(path, c.fileList)),
              1u);
    void* found = nullptr;
    ASSERT_EQ(p.filter->NonDelegatingQueryInterface(IID_IMXFParserFilter, &found), S_OK);
    static_cast<IMXFParserFilter*>(found)->SetPictureScale(c.scale);
    static_cast<IMXFParserFilter*>(found)->Release();

    CMediaType type;
    CBasePin* pin = p.filter->VideoPin();
    ASSERT_EQ(pin->GetMediaType(0, &type), S_OK);
    ASSERT_EQ(type.FormatLength(), 152u);
    const GUID& subtype = c.fileList ? MEDIASUBTYPE_H264 : MEDIASUBTYPE_HEVC;
    EXPECT_EQ(*type.Type(), MEDIATYPE_Video);
    EXPECT_EQ(*type.Subtype(), subtype);
    const uint32_t width = clip.GetWidth(), height = clip.GetHeight();
    ASSERT_EQ(width, o.width);  // the stream manager read the clip that was written
    const uint32_t w = c.scale <= 2 ? width >> c.scale : 0;
    const uint32_t h = c.scale <= 2 ? height >> c.scale : 0;
    std::pair<uint32_t, uint32_t> rate;
    clip.GetFrameRate(rate);
    EXPECT_EQ(At<int64_t>(type, 40), MediaTimeOf(1, rate.first, rate.second));
    EXPECT_EQ(At<uint16_t>(type, 84), 1u);
    EXPECT_EQ(At<uint16_t>(type, 86), 32u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(type.Format()) + 88, 4),
              o.rgbaDescriptor ? "BGR4" : "YUY2");
    // clang-format off
    const std::pair<uint32_t, uint32_t> words[] = {
        {0, 0}, {4, 0}, {8, w}, {12, h}, {76, w}, {80, h}, {112, clip.GetGammaType()},
        {116, clip.GetColorGamut()}, {120, clip.GetHLGColor()}, {124, c.fileList ? 0u : 1u},
        {128, c.scale}, {132, width}, {136, height}, {140, clip.GetLookType()}};
    // clang-format on
    for (const auto& [offset, value] : words)
        EXPECT_EQ(At<uint32_t>(type, offset), value) << "at " << offset;
    EXPECT_EQ(type.Format()[144], 0u);
    EXPECT_EQ(type.Format()[145], o.gop == 1 ? 0u : 1u);

    EXPECT_EQ(pin->CheckMediaType(&type), S_OK);
    type.SetSubtype(c.fileList ? &MEDIASUBTYPE_HEVC : &MEDIASUBTYPE_H264);
    EXPECT_EQ(pin->CheckMediaType(&type), E_FAIL);
    type.SetType(&MEDIATYPE_Audio);
    type.SetSubtype(&subtype);
    EXPECT_EQ(pin->CheckMediaType(&type), E_FAIL);
}

// Lone files are HEVC to the pin whatever they hold; scales beyond a quarter give no size.
constexpr auto kH264 = synth::SynthCodec::H264, kHEVC = synth::SynthCodec::HEVC;
const VideoCase kVideoCases[] = {
    // clang-format off
    {"ListLongGopFull", true, 0, kH264, 6, 30000, 1001, false, 1, 0},
    {"ListIntraHalf", true, 1, kH264, 1, 25, 1, false, 14, 5},
    {"LoneHevcRgbQuarter", false, 2, kHEVC, 6, 50, 1, true, 15, 3},
    {"LoneIntraOtherScale", false, 3, kH264, 1, 24000, 1001, false, 12, 4},
    {"ListRgbBeyondQuarter", true, 7, kH264, 6, 60, 1, true, 1, 0},
    // clang-format on
};

INSTANTIATE_TEST_SUITE_P(Clips, VideoFormatTest, testing::ValuesIn(kVideoCases),
                         [](const auto& info) { return std::string(info.param.name); });

class AudioFormatTest : public testing::TestWithParam<std::tuple<uint32_t, uint32_t>> {};

TEST_P(AudioFormatTest, BlockIsExtensiblePcmOfTheClipsSound) {
    Parser p(true, [](synth::SynthOptions& o) {
        o.frames = 3;
        std::tie(o.channels, o.soundBits) = GetParam();
    });
    ASSERT_EQ(p.loaded, S_OK);
    CMediaType type;
    ASSERT_EQ(p.filter->AudioPin()->GetMediaType(0, &type), S_OK);
    ASSERT_TRUE(wave_format::IsPCMAudio(type));
    ASSERT_EQ(type.FormatLength(), 40u);  // the extensible form
    wave_format::WaveFormat f;
    ASSERT_TRUE(wave_format::Read(type, &f));
    const uint32_t ch = std::min(p.options.channels, 4u),
                   bits = p.options.soundBits;  // four go on
    EXPECT_EQ(
        (std::vector<uint32_t>{f.formatTag, f.channels, f.samplesPerSec, f.avgBytesPerSec,
                               f.blockAlign, f.bitsPerSample}),
        (std::vector<uint32_t>{0xFFFE, ch, 48000, 48000 * bits * ch / 8, bits * ch / 8, bits}));
    EXPECT_EQ(At<uint32_t>(type, 20), ch == 4 ? 0x33u : 0x3u);  // the channel mask
}

INSTANTIATE_TEST_SUITE_P(ChannelsAndBits, AudioFormatTest,
                         testing::Combine(testing::Values(1u, 2u, 3u, 4u, 8u),
                                          testing::Values(16u, 24u)));

}  // namespace

// The MXF parser filter without a running graph: its pins, Load, which pin answers IMediaSeeking,
// the seeking operations and their argument checks, and the media types with their format blocks,
// checked against what a separately opened StreamManager reports for the same clip.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "clipmodel/StreamManager.h"
#include "filters/AudioOutputPins.h"
#include "filters/FilterIds.h"
#include "filters/MXFParseFilter.h"
#include "filters/VideoFormat.h"
#include "support/ParserGraph.h"

namespace {

using qvtest::TestClip;

synth::SynthOptions SmallClip(const std::string& dir) {
    synth::SynthOptions o;
    o.outDir = dir;
    o.name = "UNIT0001";
    o.width = 128;
    o.height = 72;
    o.frames = 20;
    o.gop = 6;
    o.channels = 2;
    o.rateNumerator = 30000;
    o.rateDenominator = 1001;
    return o;
}

template <class T>
T At(const CMediaType& type, uint32_t offset) {
    T value{};
    std::memcpy(&value, type.Format() + offset, sizeof value);
    return value;
}

std::wstring Wide(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

// A parser filter outside any graph, with the test's reference.
class Parser {
public:
    Parser() {
        filter = new MXFParseFilter(nullptr, &hr);
        filter->NonDelegatingAddRef();
    }
    ~Parser() { filter->NonDelegatingRelease(); }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

    HRESULT Load(const std::string& path, bool fileList = true) {
        return filter->Load(Wide(path).c_str(), CUCreate<TestClip>(path, fileList));
    }
    // The pin's IMediaSeeking, or null when it refuses.
    IMediaSeeking* Seeking(CParserOutputPin* pin, HRESULT* result = nullptr) {
        void* seeking = nullptr;
        const HRESULT hr = pin->NonDelegatingQueryInterface(IID_IMediaSeeking, &seeking);
        if (result) *result = hr;
        auto* s = static_cast<IMediaSeeking*>(seeking);
        if (s) s->Release();  // the pin lives as long as the filter
        return s;
    }
    IMediaSeeking* Seeking() { return Seeking(filter->VideoPin()); }

    HRESULT hr = S_OK;
    MXFParseFilter* filter = nullptr;
};

// A clip synthesized into a temporary directory and loaded into a parser.
class LoadedParser : public Parser {
public:
    explicit LoadedParser(const synth::SynthOptions& options, bool fileList = true)
        : clip(synth::Synthesize(options)), fileList(fileList) {
        loaded = Load(clip.paths.at(0), fileList);
    }
    // What the stream manager says about the same clip, opened apart from the filter.
    void OpenApart(StreamManager& manager) {
        const std::string& path = clip.paths.at(0);
        ASSERT_EQ(
            manager.Open(CUCreate<CUStringWin>(path.c_str()), CUCreate<TestClip>(path, fileList)),
            1u);
    }

    synth::SynthResult clip;
    const bool fileList;
    HRESULT loaded = E_FAIL;
};

// floor(n * 10^7 * den / num + 0.5) and its inverse, in exact integers.
int64_t MediaTimeOf(int64_t frames, int64_t num, int64_t den) {
    return static_cast<int64_t>((__int128{frames} * 20000000 * den + num) / (2 * __int128{num}));
}
int64_t FramesOf(int64_t time, int64_t num, int64_t den) {
    return static_cast<int64_t>((__int128{time} * 2 * num + 10000000 * den) /
                                (__int128{20000000} * den));
}

// ---- Pins and Load -----------------------------------------------------------------------------

TEST(ParseFilterTest, PinsComeAsVideoAudioTimecodeAndNoFileIsReported) {
    qvtest::TempDirectory dir;
    LoadedParser p(SmallClip(dir.root));
    ASSERT_EQ(p.hr, S_OK);
    ASSERT_EQ(p.loaded, S_OK);
    ASSERT_EQ(p.filter->GetPinCount(), 3);
    EXPECT_EQ(p.filter->GetPin(0)->Name(), L"Video_");
    EXPECT_EQ(p.filter->GetPin(1)->Name(), L"Audio_");
    EXPECT_EQ(p.filter->GetPin(2)->Name(), L"Time_");
    EXPECT_EQ(p.filter->GetPin(3), nullptr);
    wchar_t* name = nullptr;
    EXPECT_EQ(p.filter->GetCurFile(&name, nullptr), E_FAIL);
    EXPECT_EQ(name, nullptr);
}

TEST(ParseFilterTest, APathThatDoesNotOpenFailsAndLeavesTheInitialRange) {
    qvtest::TempDirectory dir;
    const std::string garbage = dir.Native("GARBAGE.MXF");
    qvtest::WriteFile(garbage, qvtest::Pattern(4096));
    for (const std::string& path : {dir.Native("MISSING.MXF"), garbage}) {
        SCOPED_TRACE(path);
        Parser p;
        EXPECT_EQ(p.Load(path), E_FAIL);
        IMediaSeeking* seeking = p.Seeking();
        ASSERT_NE(seeking, nullptr);
        ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
        int64_t duration = 0, start = -1, stop = 0;
        EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
        EXPECT_EQ(duration, CParserOutputPin::kNoPosition);
        EXPECT_EQ(seeking->GetPositions(&start, &stop), S_OK);
        EXPECT_EQ(start, 0);
        EXPECT_EQ(stop, CParserOutputPin::kNoPosition);
        CMediaType type;
        EXPECT_TRUE(FAILED(p.filter->VideoPin()->GetMediaType(0, &type)));
    }
}

TEST(ParseFilterTest, ASecondLoadIsRefusedAndTheFirstClipStays) {
    qvtest::TempDirectory dir;
    LoadedParser p(SmallClip(dir.root));
    ASSERT_EQ(p.loaded, S_OK);
    synth::SynthOptions other = SmallClip(dir.root);
    other.name = "UNIT0002";
    other.frames = 7;
    EXPECT_EQ(p.Load(synth::Synthesize(other).paths.at(0)), E_FAIL);
    IMediaSeeking* seeking = p.Seeking();
    ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    int64_t duration = 0;
    ASSERT_EQ(seeking->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, 20);
}

// Which pin is asked first for IMediaSeeking: 0 video, 1 audio, 2 timecode.
class SeekingPinTest : public testing::TestWithParam<int> {};

TEST_P(SeekingPinTest, OnlyThePinAskedFirstAnswers) {
    Parser p;
    CParserOutputPin* const pins[] = {p.filter->VideoPin(), p.filter->AudioPin(),
                                      p.filter->TimecodePin()};
    const int first = GetParam();
    IMediaSeeking* chosen = p.Seeking(pins[first]);
    ASSERT_NE(chosen, nullptr);
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        HRESULT hr = S_OK;
        IMediaSeeking* seeking = p.Seeking(pins[i], &hr);
        EXPECT_EQ(hr, i == first ? S_OK : E_NOINTERFACE);
        EXPECT_EQ(seeking, i == first ? chosen : nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(FirstAsked, SeekingPinTest, testing::Values(0, 1, 2));

// ---- IMediaSeeking -----------------------------------------------------------------------------

TEST(ParseFilterTest, SeekingAnswersItsFixedQuestions) {
    qvtest::TempDirectory dir;
    LoadedParser p(SmallClip(dir.root));
    ASSERT_EQ(p.loaded, S_OK);
    IMediaSeeking* s = p.Seeking();
    uint32_t caps = 0;
    EXPECT_EQ(s->GetCapabilities(&caps), S_OK);
    EXPECT_EQ(caps, 0x37u);
    caps = 0x37;
    EXPECT_EQ(s->CheckCapabilities(&caps), E_FAIL);
    EXPECT_EQ(caps, 0u);
    GUID format = GUID_NULL;
    EXPECT_EQ(s->QueryPreferredFormat(&format), S_OK);
    EXPECT_EQ(format, TIME_FORMAT_FRAME);
    int64_t value = 0;
    EXPECT_EQ(s->GetCurrentPosition(&value), E_NOTIMPL);
    EXPECT_EQ(s->GetAvailable(&value, &value), E_NOTIMPL);
    EXPECT_EQ(s->SetRate(2.0), E_NOTIMPL);
    double rate = 0;
    EXPECT_EQ(s->GetRate(&rate), S_OK);
    EXPECT_EQ(rate, 1.0);
    value = -1;
    EXPECT_EQ(s->GetPreroll(&value), S_OK);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(s->GetPositions(nullptr, &value), E_POINTER);
    EXPECT_EQ(s->GetPositions(&value, nullptr), E_POINTER);
}

struct TimeFormatCase {
    const char* name;
    GUID format;
    HRESULT supported, set;
};

class TimeFormatTest : public testing::TestWithParam<TimeFormatCase> {};

TEST_P(TimeFormatTest, OnlyFramesAndMediaTimeAreTaken) {
    Parser p;
    IMediaSeeking* s = p.Seeking();
    const TimeFormatCase& c = GetParam();
    EXPECT_EQ(s->IsFormatSupported(&c.format), c.supported);
    ASSERT_EQ(s->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    EXPECT_EQ(s->SetTimeFormat(&c.format), c.set);
    GUID now = GUID_NULL;
    ASSERT_EQ(s->GetTimeFormat(&now), S_OK);
    EXPECT_EQ(now, c.set == S_OK ? c.format : TIME_FORMAT_FRAME);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, TimeFormatTest,
    testing::Values(TimeFormatCase{"Frame", TIME_FORMAT_FRAME, S_OK, S_OK},
                    TimeFormatCase{"MediaTime", TIME_FORMAT_MEDIA_TIME, S_OK, S_OK},
                    TimeFormatCase{"Field", TIME_FORMAT_FIELD, S_FALSE, E_NOTIMPL},
                    TimeFormatCase{"Byte", TIME_FORMAT_BYTE, S_FALSE, E_NOTIMPL},
                    TimeFormatCase{"Sample", TIME_FORMAT_SAMPLE, S_FALSE, E_NOTIMPL},
                    TimeFormatCase{"None", TIME_FORMAT_NONE, S_FALSE, E_NOTIMPL}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ParseFilterTest, ConvertTimeFormatRoundsFramesAndMediaTimeAtTheClipRate) {
    qvtest::TempDirectory dir;
    LoadedParser p(SmallClip(dir.root));  // 30000/1001
    ASSERT_EQ(p.loaded, S_OK);
    IMediaSeeking* s = p.Seeking();
    ASSERT_EQ(s->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    const GUID* frame = &TIME_FORMAT_FRAME;
    const GUID* media = &TIME_FORMAT_MEDIA_TIME;
    int64_t out = 0;
    for (const int64_t n : {0LL, 1LL, 2LL, 3LL, 7LL, 20LL, 1000LL, 123457LL}) {
        SCOPED_TRACE(n);
        ASSERT_EQ(s->ConvertTimeFormat(&out, media, n, frame), S_OK);
        EXPECT_EQ(out, MediaTimeOf(n, 30000, 1001));
        // A null source format is the current one, frames.
        ASSERT_EQ(s->ConvertTimeFormat(&out, media, n, nullptr), S_OK);
        EXPECT_EQ(out, MediaTimeOf(n, 30000, 1001));
    }
    // Around the middle between two frames (one frame lasts 333666.66... units).
    for (const int64_t t : {0LL, 166833LL, 166834LL, 500499LL, 500500LL, 333667LL, 99999999LL}) {
        SCOPED_TRACE(t);
        ASSERT_EQ(s->ConvertTimeFormat(&out, frame, t, media), S_OK);
        EXPECT_EQ(out, FramesOf(t, 30000, 1001));
        ASSERT_EQ(s->ConvertTimeFormat(&out, nullptr, t, media), S_OK);
        EXPECT_EQ(out, FramesOf(t, 30000, 1001));
    }
    // The same format copies, whatever it is.
    for (const GUID* same : {frame, media, &TIME_FORMAT_BYTE}) {
        out = 0;
        EXPECT_EQ(s->ConvertTimeFormat(&out, same, 12345, same), S_OK);
        EXPECT_EQ(out, 12345);
    }
    EXPECT_EQ(s->ConvertTimeFormat(&out, nullptr, 77, nullptr), S_OK);
    EXPECT_EQ(out, 77);
    EXPECT_EQ(s->ConvertTimeFormat(&out, frame, 5, &TIME_FORMAT_BYTE), E_INVALIDARG);
    EXPECT_EQ(s->ConvertTimeFormat(&out, &TIME_FORMAT_FIELD, 5, media), E_INVALIDARG);
    EXPECT_EQ(s->ConvertTimeFormat(&out, &TIME_FORMAT_SAMPLE, 5, nullptr), E_INVALIDARG);
    EXPECT_EQ(s->ConvertTimeFormat(nullptr, media, 5, frame), E_POINTER);
}

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
    qvtest::TempDirectory dir;
    LoadedParser p(SmallClip(dir.root));
    ASSERT_EQ(p.loaded, S_OK);
    IMediaSeeking* s = p.Seeking();
    ASSERT_EQ(s->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    const PositionsCase& c = GetParam();
    int64_t current = 4, stop = 9;
    EXPECT_EQ(s->SetPositions(c.current ? &current : nullptr, c.currentFlags,
                              c.stop ? &stop : nullptr, c.stopFlags),
              c.expected);
    if (c.expected == S_OK) return;
    int64_t start = -1, end = -1;
    ASSERT_EQ(s->GetPositions(&start, &end), S_OK);
    EXPECT_EQ(start, 0);
    EXPECT_EQ(end, 20);
}

constexpr uint32_t kAbs = AM_SEEKING_AbsolutePositioning, kRel = AM_SEEKING_RelativePositioning,
                   kInc = AM_SEEKING_IncrementalPositioning, kKey = AM_SEEKING_SeekToKeyFrame,
                   kTime = AM_SEEKING_ReturnTime;

INSTANTIATE_TEST_SUITE_P(
    Table, SetPositionsCheckTest,
    testing::Values(PositionsCase{"NoFlags", 0, false, 0, false, S_FALSE},
                    PositionsCase{"NoFlagsWithValues", 0, true, 0, true, S_FALSE},
                    PositionsCase{"CurrentNull", kAbs, false, 0, false, E_POINTER},
                    PositionsCase{"CurrentReturnTimeOnlyNull", kTime, false, 0, false, E_POINTER},
                    PositionsCase{"CurrentReturnTimeOnly", kTime, true, 0, false, E_INVALIDARG},
                    PositionsCase{"CurrentIncremental", kInc, true, 0, false, E_INVALIDARG},
                    PositionsCase{"CurrentKeyFrameOnly", kKey, true, 0, false, E_INVALIDARG},
                    PositionsCase{"StopNull", 0, false, kAbs, false, E_POINTER},
                    PositionsCase{"StopReturnTimeOnly", 0, false, kTime, true, E_INVALIDARG},
                    PositionsCase{"StopKeyFrameOnly", 0, false, kKey, true, E_INVALIDARG},
                    PositionsCase{"StopNullBeforeCurrentBits", kInc, true, kAbs, false, E_POINTER},
                    PositionsCase{"StopBitsBeforeCurrentNull", kAbs, false, kTime, true,
                                  E_INVALIDARG},
                    PositionsCase{"StopIncrementalAlone", 0, false, kInc, true, S_OK},
                    PositionsCase{"StopRelativeAlone", 0, false, kRel, true, S_OK}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ParseFilterTest, SetPositionsWhileStoppedMovesTheRangeWithinTheClip) {
    qvtest::TempDirectory dir;
    LoadedParser p(SmallClip(dir.root));
    ASSERT_EQ(p.loaded, S_OK);
    IMediaSeeking* s = p.Seeking();
    ASSERT_EQ(s->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    int64_t start = 0, stop = 0;
    auto positions = [&] {
        EXPECT_EQ(s->GetPositions(&start, &stop), S_OK);
        return std::make_pair(start, stop);
    };

    int64_t current = 5;
    EXPECT_EQ(s->SetPositions(&current, kAbs, nullptr, 0), S_OK);
    EXPECT_EQ(positions(), std::make_pair(int64_t{5}, int64_t{20}));
    current = 3;
    EXPECT_EQ(s->SetPositions(&current, kRel | kTime, nullptr, 0), S_OK);
    EXPECT_EQ(current, MediaTimeOf(8, 30000, 1001));  // written back as media time
    EXPECT_EQ(positions(), std::make_pair(int64_t{8}, int64_t{20}));
    int64_t end = 4;
    EXPECT_EQ(s->SetPositions(nullptr, 0, &end, kInc | kTime), S_OK);
    EXPECT_EQ(end, MediaTimeOf(12, 30000, 1001));
    EXPECT_EQ(positions(), std::make_pair(int64_t{8}, int64_t{12}));
    EXPECT_EQ(s->SetPositions(&current, 0, &end, 0), S_FALSE);
    EXPECT_EQ(positions(), std::make_pair(int64_t{8}, int64_t{12}));

    current = 1000;  // past the clip: the frame count
    EXPECT_EQ(s->SetPositions(&current, kAbs, nullptr, 0), S_OK);
    EXPECT_EQ(positions().first, 20);

    // In media time, positions come and go as media time.
    ASSERT_EQ(s->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
    current = MediaTimeOf(7, 30000, 1001);
    EXPECT_EQ(s->SetPositions(&current, kAbs, nullptr, 0), S_OK);
    ASSERT_EQ(s->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    EXPECT_EQ(positions().first, 7);
    int64_t duration = 0;
    ASSERT_EQ(s->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, 20);
}

// ---- Media types -------------------------------------------------------------------------------

TEST(ParseFilterTest, MediaTypePositionsAreCheckedOnEveryPin) {
    qvtest::TempDirectory dir;
    LoadedParser p(SmallClip(dir.root));
    ASSERT_EQ(p.loaded, S_OK);
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        CBasePin* pin = p.filter->GetPin(i);
        CMediaType type;
        EXPECT_EQ(pin->GetMediaType(-1, &type), E_INVALIDARG);
        EXPECT_EQ(pin->GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
        EXPECT_EQ(pin->GetMediaType(0, nullptr), E_UNEXPECTED);
        EXPECT_EQ(pin->GetMediaType(0, &type), S_OK);
        EXPECT_EQ(pin->CheckMediaType(&type), S_OK);
    }
}

TEST(ParseFilterTest, CodecKindFollowsTheKindOfClip) {
    using namespace video_format;
    EXPECT_EQ(CodecKindOfClipVersion(ClipVersionFileList), CodecH264);
    EXPECT_EQ(CodecKindOfClipVersion(ClipVersionNone), CodecHEVC);
    EXPECT_EQ(CodecKindOfClipVersion(ClipVersionCIF1), CodecMPEG2);
    // {34363248-0000-0010-8000-00AA00389B71}
    constexpr GUID h264{
        0x34363248, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
    EXPECT_EQ(MXFSubtype(CodecH264), h264);
    EXPECT_EQ(MXFSubtype(CodecHEVC), MEDIASUBTYPE_HEVC);
    EXPECT_EQ(MXFSubtype(CodecMPEG2), MEDIASUBTYPE_MPEG2_VIDEO);
}

struct VideoCase {
    const char* name;
    bool fileList;
    uint32_t scale;
    void (*apply)(synth::SynthOptions&);
};

class VideoFormatTest : public testing::TestWithParam<VideoCase> {};

TEST_P(VideoFormatTest, BlockDescribesTheClipAtItsScale) {
    qvtest::TempDirectory dir;
    const VideoCase& c = GetParam();
    synth::SynthOptions o = SmallClip(dir.root);
    c.apply(o);
    LoadedParser p(o, c.fileList);
    ASSERT_EQ(p.loaded, S_OK);
    StreamManager apart;
    p.OpenApart(apart);
    if (HasFatalFailure()) return;

    void* found = nullptr;
    ASSERT_EQ(p.filter->NonDelegatingQueryInterface(IID_IMXFParserFilter, &found), S_OK);
    auto* mxf = static_cast<IMXFParserFilter*>(found);
    mxf->SetPictureScale(c.scale);
    mxf->Release();
    CMediaType type;
    CBasePin* pin = p.filter->VideoPin();
    ASSERT_EQ(pin->GetMediaType(0, &type), S_OK);
    ASSERT_EQ(type.FormatLength(), 152u);
    const uint32_t kind = c.fileList ? 0 : 1;
    const GUID& subtype = c.fileList ? MEDIASUBTYPE_H264 : MEDIASUBTYPE_HEVC;
    EXPECT_EQ(*type.Type(), MEDIATYPE_Video);
    EXPECT_EQ(*type.Subtype(), subtype);

    const uint32_t width = apart.GetWidth(), height = apart.GetHeight();
    const uint32_t w = c.scale <= 2 ? width >> c.scale : 0;
    const uint32_t h = c.scale <= 2 ? height >> c.scale : 0;
    std::pair<uint32_t, uint32_t> rate;
    apart.GetFrameRate(rate);
    const bool rgb = apart.GetChromaFormat() == ClipChromaRGB;
    EXPECT_EQ(At<uint32_t>(type, 0), 0u);
    EXPECT_EQ(At<uint32_t>(type, 4), 0u);
    EXPECT_EQ(At<uint32_t>(type, 8), w);
    EXPECT_EQ(At<uint32_t>(type, 12), h);
    EXPECT_EQ(At<int64_t>(type, 40), MediaTimeOf(1, rate.first, rate.second));
    EXPECT_EQ(At<uint32_t>(type, 76), w);
    EXPECT_EQ(At<uint32_t>(type, 80), h);
    EXPECT_EQ(At<uint16_t>(type, 84), 1u);
    EXPECT_EQ(At<uint16_t>(type, 86), 32u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(type.Format() + 88), 4),
              rgb ? "BGR4" : "YUY2");
    EXPECT_EQ(At<uint32_t>(type, 112), apart.GetGammaType());
    EXPECT_EQ(At<uint32_t>(type, 116), apart.GetColorGamut());
    EXPECT_EQ(At<uint32_t>(type, 120), apart.GetHLGColor());
    EXPECT_EQ(At<uint32_t>(type, 124), kind);
    EXPECT_EQ(At<uint32_t>(type, 128), c.scale);
    EXPECT_EQ(At<uint32_t>(type, 132), width);
    EXPECT_EQ(At<uint32_t>(type, 136), height);
    EXPECT_EQ(At<uint32_t>(type, 140), apart.GetLookType());
    EXPECT_EQ(type.Format()[144], 0u);
    EXPECT_EQ(type.Format()[145], apart.IsIntraCoded() ? 0u : 1u);
    EXPECT_EQ(width, o.width);  // the stream manager read the clip that was written
    EXPECT_EQ(rgb, o.rgbaDescriptor);
    EXPECT_EQ(apart.IsIntraCoded(), o.gop == 1);

    EXPECT_EQ(pin->CheckMediaType(&type), S_OK);
    CMediaType other;
    other.InitMediaType();
    other.SetType(&MEDIATYPE_Video);
    other.SetSubtype(c.fileList ? &MEDIASUBTYPE_HEVC : &MEDIASUBTYPE_H264);
    EXPECT_EQ(pin->CheckMediaType(&other), E_FAIL);
    other.SetType(&MEDIATYPE_Audio);
    other.SetSubtype(&subtype);
    EXPECT_EQ(pin->CheckMediaType(&other), E_FAIL);
}

INSTANTIATE_TEST_SUITE_P(
    Clips, VideoFormatTest,
    testing::Values(VideoCase{"ListLongGopFull", true, 0, [](synth::SynthOptions&) {}},
                    VideoCase{"ListIntraHalf25", true, 1,
                              [](synth::SynthOptions& o) {
                                  o.gop = 1, o.rateNumerator = 25, o.rateDenominator = 1,
                                  o.chroma = 422;
                              }},
                    VideoCase{"LoneHevcRgbQuarter", false, 2,
                              [](synth::SynthOptions& o) {
                                  o.codec = synth::SynthCodec::HEVC, o.bitDepth = 12,
                                  o.rgbaDescriptor = true, o.gammaCode = 15, o.gamutCode = 3;
                              }},
                    VideoCase{"LoneLongGopOtherScale", false, 3,
                              [](synth::SynthOptions& o) { o.gammaCode = 14, o.gamutCode = 5; }},
                    VideoCase{
                        "ListRgbNoScale", true, 7,
                        [](synth::SynthOptions& o) { o.rgbaDescriptor = true, o.bitDepth = 10; }}),
    [](const auto& info) { return std::string(info.param.name); });

struct AudioCase {
    uint32_t channels, bits;
};

class AudioFormatTest : public testing::TestWithParam<AudioCase> {};

TEST_P(AudioFormatTest, BlockIsExtensiblePcmOfTheClipsSound) {
    qvtest::TempDirectory dir;
    synth::SynthOptions o = SmallClip(dir.root);
    o.frames = 3;
    o.channels = GetParam().channels;
    o.soundBits = GetParam().bits;
    LoadedParser p(o);
    ASSERT_EQ(p.loaded, S_OK);
    CMediaType type;
    ASSERT_EQ(p.filter->AudioPin()->GetMediaType(0, &type), S_OK);
    EXPECT_EQ(*type.Type(), MEDIATYPE_Audio);
    EXPECT_EQ(*type.Subtype(), MEDIASUBTYPE_PCM);
    EXPECT_EQ(*type.FormatType(), FORMAT_WaveFormatEx);
    ASSERT_EQ(type.FormatLength(), 40u);
    const uint32_t ch = std::min(o.channels, 4u), bits = o.soundBits, rate = 48000;
    EXPECT_EQ(At<uint16_t>(type, 0), 65534u);
    EXPECT_EQ(At<uint16_t>(type, 2), ch);
    EXPECT_EQ(At<uint32_t>(type, 4), rate);
    EXPECT_EQ(At<uint32_t>(type, 8), rate * bits * ch >> 3);
    EXPECT_EQ(At<uint16_t>(type, 12), bits * ch >> 3);
    EXPECT_EQ(At<uint16_t>(type, 14), bits);
    EXPECT_EQ(At<uint16_t>(type, 16), 22u);
    EXPECT_EQ(At<uint16_t>(type, 18), bits);
    EXPECT_EQ(At<uint32_t>(type, 20), ch == 4 ? 0x33u : 0x3u);
    const uint8_t pcm[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                             0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
    EXPECT_EQ(std::memcmp(type.Format() + 24, pcm, sizeof pcm), 0);
    EXPECT_EQ(p.filter->AudioPin()->CheckMediaType(&type), S_OK);
    type.SetSubtype(&MEDIASUBTYPE_H264);
    EXPECT_EQ(p.filter->AudioPin()->CheckMediaType(&type), E_FAIL);
}

// Eight tracks reach the pin as the four the sound path carries.
INSTANTIATE_TEST_SUITE_P(ChannelsAndBits, AudioFormatTest,
                         testing::Values(AudioCase{1, 16}, AudioCase{2, 16}, AudioCase{3, 16},
                                         AudioCase{4, 16}, AudioCase{1, 24}, AudioCase{2, 24},
                                         AudioCase{3, 24}, AudioCase{4, 24}, AudioCase{8, 24}),
                         [](const auto& info) {
                             return std::to_string(info.param.channels) + "ch" +
                                    std::to_string(info.param.bits);
                         });

TEST(ParseFilterTest, TimecodeTypeIsThePrivateStream) {
    Parser p;  // the type needs no clip
    CMediaType type;
    CBasePin* pin = p.filter->TimecodePin();
    ASSERT_EQ(pin->GetMediaType(0, &type), S_OK);
    EXPECT_EQ(*type.Type(), MEDIATYPE_MXFTimecode);
    EXPECT_EQ(*type.Subtype(), MEDIASUBTYPE_PrivateStream);
    EXPECT_EQ(*type.FormatType(), FORMAT_None);
    ASSERT_EQ(type.FormatLength(), 4u);
    EXPECT_EQ(At<uint32_t>(type, 0), 1u);
    EXPECT_EQ(pin->CheckMediaType(&type), S_OK);
    type.SetType(&MEDIATYPE_MP4Timecode);
    EXPECT_EQ(pin->CheckMediaType(&type), E_FAIL);
}

}  // namespace

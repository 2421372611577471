// The convert filter between a source of decoded pictures and a recording renderer: every picture
// equals the kernel run directly over it, with its times and marks; the target table; what the
// format block's codes become; when SetTargetConversion hands parameters over; which output types
// CheckTransform takes; a flush and a stop while pictures are in flight.
#include "filters/ConvertFilter.h"

#include <gtest/gtest.h>

#include "codecs/IMBXMovieDecoder.h"
#include "filters/VideoFormat.h"
#include "platform/TransformInputPin.h"
#include "support/PictureChain.h"

namespace {

using video_format::Block;

constexpr REFERENCE_TIME kFrame = 400000;

struct Format {
    const char* label;
    uint32_t compression = kPixelFormatYUY2;
    uint32_t gamut = 0, gamma = 1, hlg = 0, look = 0;
    bool conversion = false;
    int32_t width = 64, height = 36;
};

uint32_t BytesPerPixel(const Format& f) {
    return f.compression == kPixelFormatBGR4 ? 4 : 2;
}

CMediaType VideoType(const Format& f) {
    CMediaType type;
    type.SetType(&MEDIATYPE_Video);
    type.SetSubtype(f.compression == kPixelFormatBGR4 ? &MEDIASUBTYPE_RGB32 : &MEDIASUBTYPE_YUY2);
    type.SetFormatType(&FORMAT_VideoInfo2);
    Block block(type.AllocFormatBuffer(video_format::kFormatBlockSize),
                video_format::kFormatBlockSize);
    block.SetI64(video_format::kOffsetAvgTimePerFrame, kFrame);
    using namespace video_format;
    for (const auto& [offset, value] : {std::pair{kOffsetBitmapWidth, uint32_t(f.width)},
                                        {kOffsetBitmapHeight, uint32_t(f.height)},
                                        {kOffsetBitmapCompression, f.compression},
                                        {kOffsetGamut, f.gamut},
                                        {kOffsetGamma, f.gamma},
                                        {kOffsetHLGColor, f.hlg},
                                        {kOffsetLook, f.look}})
        block.SetU32(offset, value);
    return type;
}

std::vector<uint8_t> Picture(const Format& f, int n) {
    return qvtest::Pattern(size_t(f.width) * f.height * BytesPerPixel(f), uint8_t(n * 29 + 3));
}

CConvertFilter* Configured(const Format& f) {
    auto* convert = new CConvertFilter(nullptr, nullptr, CLSID_ConvertFilter);
    if (f.conversion) convert->SetTargetConversion(1, 0);
    return convert;
}

// Pictures 0..count-1 one frame apart; even ones are sync points, the first a discontinuity.
struct ConvertGraph : qvtest::PictureChain<CConvertFilter> {
    ConvertGraph(const Format& f, int count)
        : PictureChain(
              VideoType(f), f.width * f.height * int32_t(BytesPerPixel(f)), count, kFrame,
              [this, f](int n, uint8_t* data, IMediaSample* sample) {
                  const std::vector<uint8_t> bytes = Picture(f, n);
                  std::memcpy(data, bytes.data(), bytes.size());
                  sample->SetSyncPoint(n % 2 == 0);
                  sample->SetDiscontinuity(n == 0);
                  return int32_t(bytes.size()) - (n == shortAt ? 2 : 0);
              },
              Configured(f), new qvtest::RecordingRenderer(MEDIATYPE_Video, false)) {
        sink->keepBytes = true;
    }
    MatchingParameters Parameters() {
        MatchingParameters p;
        EXPECT_TRUE(filter->Parameters(&p));
        return p;
    }
    CTransformInputPin* Input() { return static_cast<CTransformInputPin*>(filter->GetPin(0)); }

    int shortAt = -1;  // set before the run: this picture lacks its last pixel
};

class ConvertPlayback : public testing::TestWithParam<Format> {};

TEST_P(ConvertPlayback, EveryPictureIsTheKernelsWithItsTimesAndMarks) {
    const Format& f = GetParam();
    ConvertGraph g(f, 5);
    ASSERT_TRUE(g.connected);
    ASSERT_EQ(g.Play(), S_OK);
    const MatchingParameters p = g.Parameters();
    const image::RowKernel kernel = CMBXMatchingImageMaker::ChooseKernel(p, {});
    const std::vector<qvtest::Delivered> got = g.sink->Samples();
    ASSERT_EQ(got.size(), 5u);
    for (int n = 0; n < 5; ++n) {
        const std::vector<uint8_t> in = Picture(f, n);
        std::vector<uint8_t> expected(size_t(f.width) * f.height * 4);
        kernel(in.data(), expected.data(), uint32_t(f.width / 4 - 1), uint32_t(f.height), 0);
        EXPECT_TRUE(got[n].bytes == expected) << "picture " << n;
        EXPECT_EQ(got[n].start, n * kFrame);
        EXPECT_EQ(got[n].stop, (n + 1) * kFrame);
        EXPECT_EQ(got[n].sync, n % 2 == 0);
        EXPECT_EQ(got[n].discontinuity, n == 0);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, ConvertPlayback,
    testing::Values(Format{"Yuy2KeepsItsGamma"},
                    Format{.label = "Yuy2ToSdr", .gamut = 3, .gamma = 5, .conversion = true},
                    Format{.label = "Bgr4WithALook", .compression = kPixelFormatBGR4, .look = 9}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(ConvertFilterTest, APictureShorterThanItsFormatIsDroppedAndTheStreamGoesOn) {
    ConvertGraph g({.label = ""}, 3);
    ASSERT_TRUE(g.connected);
    g.shortAt = 1;
    ASSERT_EQ(g.Play(), S_OK);
    const std::vector<qvtest::Delivered> got = g.sink->Samples();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[1].start, 2 * kFrame);
}

struct TargetCase {
    uint32_t gamut, gamma, hlg, targetGamma, targetGamut;
};

class TargetTable : public testing::TestWithParam<TargetCase> {};

TEST_P(TargetTable, ConversionOnPicksTheTarget) {
    const TargetCase& c = GetParam();
    const CConvertFilter::Target target{c.targetGamma, c.targetGamut};
    EXPECT_EQ(CConvertFilter::TargetFor(true, c.gamut, c.gamma, c.hlg, c.gamut, c.gamma), target);
    const CConvertFilter::Target kept{c.gamma, c.gamut};
    EXPECT_EQ(CConvertFilter::TargetFor(false, c.gamut, c.gamma, c.hlg, c.gamut, c.gamma), kept);
}

INSTANTIATE_TEST_SUITE_P(Rows, TargetTable,
                         testing::Values(TargetCase{0, 3, 0, 16, 0}, TargetCase{4, 12, 0, 16, 0},
                                         TargetCase{3, 14, 0, 17, 0}, TargetCase{2, 14, 0, 2, 0},
                                         TargetCase{3, 15, 1, 17, 0}, TargetCase{0, 15, 255, 17, 0},
                                         TargetCase{3, 15, 0, 15, 3}, TargetCase{0, 0, 0, 2, 0},
                                         TargetCase{0, 7, 0, 7, 0}, TargetCase{2, 9, 0, 9, 2},
                                         TargetCase{2, 11, 0, 11, 2}, TargetCase{2, 0, 0, 2, 0},
                                         TargetCase{3, 9, 0, 9, 3}, TargetCase{3, 5, 0, 2, 0},
                                         TargetCase{4, 11, 0, 11, 4}, TargetCase{4, 9, 0, 2, 0},
                                         TargetCase{1, 3, 0, 3, 1},
                                         TargetCase{0, 0xFFFFFFFF, 0, 0xFFFFFFFF, 0}));

// Codes outside their sets are stored as 0; the target table sees the codes as they stand.
TEST(ConvertFilterTest, FormatCodesOutsideTheirSetsAreStoredAsZero) {
    const std::pair<Format, MatchingParameters> cases[] = {
        {{.label = "", .gamma = 10}, {}},
        {{.label = "", .gamut = 4, .gamma = 13, .conversion = true},
         {.sourceGamut = 4, .targetGamma = 2}},
        {{.label = "", .gamut = 1, .gamma = 17, .hlg = 3, .look = 14},
         {.sourceGamma = 17, .targetGamma = 17}},
        {{.label = "", .gamut = 4, .gamma = 11, .hlg = 255, .look = 255},
         {.sourceGamut = 4,
          .targetGamut = 4,
          .sourceGamma = 11,
          .targetGamma = 11,
          .hlgColor = 255,
          .lookType = 255}}};
    for (const auto& [f, want] : cases) {
        const MatchingParameters p = CConvertFilter::ParametersFor(VideoType(f), f.conversion);
        EXPECT_EQ(std::tie(p.sourceGamut, p.targetGamut, p.sourceGamma, p.targetGamma, p.hlgColor,
                           p.lookType),
                  std::tie(want.sourceGamut, want.targetGamut, want.sourceGamma, want.targetGamma,
                           want.hlgColor, want.lookType))
            << f.gamma;
        EXPECT_EQ(std::tie(p.width, p.height, p.outputDepth, p.pixelFormat),
                  std::make_tuple(int16_t(64), int16_t(36), 3u, 0u));
    }
}

// Whether a call handed the parameters over shows in the worker's copy, spoilt before it.
TEST(ConvertFilterTest, SetTargetConversionHandsOverOnChangeOrInModeOne) {
    ConvertGraph g({.label = "", .gamut = 3, .gamma = 15, .hlg = 1}, 0);
    ASSERT_TRUE(g.connected);
    CConvertThread* worker = g.filter->Worker();
    ASSERT_NE(worker, nullptr);
    void* host = nullptr;  // the host's view of the filter
    ASSERT_EQ(g.filter->NonDelegatingQueryInterface(IID_IConvertFilter, &host), S_OK);
    static_cast<IConvertFilter*>(host)->Release();  // the filter outlives the test's use
    const auto handedOver = [&](uint8_t enable, int8_t mode) {
        MatchingParameters spoilt = g.Parameters();
        spoilt.targetGamma = 99;
        worker->SetParameters(spoilt);
        static_cast<IConvertFilter*>(host)->SetTargetConversion(enable, mode);
        return worker->Parameters().targetGamma != 99;
    };
    EXPECT_TRUE(handedOver(1, 0));
    EXPECT_EQ(g.Parameters().targetGamma, 17u);
    EXPECT_FALSE(handedOver(1, 0));
    EXPECT_TRUE(handedOver(1, 1));
    EXPECT_EQ(g.Parameters().targetGamma, 14u);  // HLG colour 1: mode 1 moves it to 14
    EXPECT_TRUE(handedOver(1, 1));
    EXPECT_FALSE(handedOver(1, 2));
    EXPECT_TRUE(handedOver(0, 0));
    EXPECT_EQ(g.Parameters().targetGamma, 15u);
}

TEST(ConvertFilterTest, CheckTransformTakesWiderOutputsAndTheOtherRowOrder) {
    const Format f{.label = ""};
    ConvertGraph g(f, 0);
    ASSERT_TRUE(g.connected);
    const CMediaType in = VideoType(f);
    const auto check = [&](int32_t width, int32_t height) {
        CMediaType out = VideoType(f);
        Block block(out);
        block.SetU32(video_format::kOffsetBitmapWidth, uint32_t(width));
        block.SetU32(video_format::kOffsetBitmapHeight, uint32_t(height));
        return g.filter->CheckTransform(&in, &out);
    };
    EXPECT_EQ(check(64, 36), S_OK);
    EXPECT_EQ(check(64, -36), S_OK);
    EXPECT_EQ(check(64, 35), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_EQ(check(60, 36), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_EQ(g.Parameters().linePadding, 0u);
    EXPECT_EQ(check(80, -36), S_OK);
    EXPECT_EQ(g.Parameters().linePadding, 16u);
    EXPECT_EQ(g.filter->Worker()->Parameters().linePadding, 16u);
    CMediaType bare;
    EXPECT_EQ(g.filter->CheckTransform(&in, &bare), S_OK);  // no format block: nothing to test
}

// A flush and a stop meet pictures in the queues and in the maker; everything ends, and the
// worker, which outlives the stop, converts again after the next run.
TEST(ConvertFilterTest, FlushAndStopWhilePicturesAreInFlight) {
    CUManualResetEvent some;  // before the graph: its delivery thread may call the gate until then
    ConvertGraph g({.label = "", .width = 16, .height = 8}, 100000);
    ASSERT_TRUE(g.connected);
    g.sink->keepBytes = false;
    g.sink->gate = [&](const qvtest::Delivered&) { some.Set(); };
    ASSERT_EQ(g.graph.Run(), S_OK);
    some.Wait();
    ASSERT_EQ(g.Input()->BeginFlush(), S_OK);
    ASSERT_EQ(g.Input()->EndFlush(), S_OK);
    EXPECT_EQ(g.graph.Stop(), S_OK);
    some.Reset();
    ASSERT_EQ(g.graph.Run(), S_OK);
    some.Wait();
    EXPECT_EQ(g.graph.Stop(), S_OK);
}

}  // namespace

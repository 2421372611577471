// The movie resize filter in a graph (picture source -> resize -> recording renderer): full-size
// pictures come out reduced as the sampling says, with their times and type-specific flags; an
// empty input gives nothing and no error; another scale passes the input's length unresized; a
// flush from the streaming thread and a stop while running end cleanly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "filters/FilterIds.h"
#include "filters/MovieResizeFilter.h"
#include "filters/VideoFormat.h"
#include "platform/TransformInputPin.h"
#include "platform/support/LoggingSink.h"
#include "support/PictureChain.h"

namespace {

using video_format::Block;

constexpr REFERENCE_TIME kFrame = 400000;
constexpr uint32_t kFlags = 0x100;  // frame n carries kFlags + n
constexpr uint32_t kGamma = 7, kGamut = 3, kHLG = 1, kLook = 5, kCodecKind = 1;

struct Picture {
    uint32_t format;  // kPixelFormatYUY2 or kPixelFormatBGR4
    uint32_t fullWidth, fullHeight, scale;
    uint32_t PixelBytes() const { return format == kPixelFormatBGR4 ? 4 : 2; }
    size_t Bytes() const { return size_t{fullWidth} * fullHeight * PixelBytes(); }
};

// Byte i of frame n: irregular, so that any other source pixel gives other bytes.
void Fill(uint8_t* bytes, size_t size, int n) {
    for (size_t i = 0; i < size; i += 4) {
        const uint32_t word = static_cast<uint32_t>(i) * 2654435761u + static_cast<uint32_t>(n);
        std::memcpy(bytes + i, &word, std::min<size_t>(4, size - i));
    }
}

// The full-size picture's type, described at its scale.
CMediaType TypeOf(const Picture& picture) {
    CMediaType type;
    type.SetType(&MEDIATYPE_Video);
    type.SetSubtype(picture.format == kPixelFormatBGR4 ? &MEDIASUBTYPE_RGB32 : &MEDIASUBTYPE_YUY2);
    type.SetFormatType(&FORMAT_VideoInfo2);
    uint8_t* bytes = type.AllocFormatBuffer(video_format::kFormatBlockSize);
    std::memset(bytes, 0, video_format::kFormatBlockSize);
    Block b(bytes, video_format::kFormatBlockSize);
    const uint32_t width = video_format::Scaled(picture.fullWidth, picture.scale);
    const uint32_t height = video_format::Scaled(picture.fullHeight, picture.scale);
    b.SetI64(video_format::kOffsetAvgTimePerFrame, kFrame);
    using namespace video_format;
    for (const auto& [offset, value] : {std::pair{kOffsetSourceRight, width},
                                        {kOffsetSourceBottom, height},
                                        {kOffsetBitmapWidth, width},
                                        {kOffsetBitmapHeight, height},
                                        {kOffsetBitmapCompression, picture.format},
                                        {kOffsetGamma, kGamma},
                                        {kOffsetGamut, kGamut},
                                        {kOffsetHLGColor, kHLG},
                                        {kOffsetCodecKind, kCodecKind},
                                        {kOffsetPictureScale, picture.scale},
                                        {kOffsetFullWidth, picture.fullWidth},
                                        {kOffsetFullHeight, picture.fullHeight},
                                        {kOffsetLook, kLook}})
        b.SetU32(offset, value);
    return type;
}

// Full-size pictures into the resize filter; frame `emptyAt` has no bytes, frame `shortAt` 64,
// and frame n carries the type-specific flags kFlags + n.
struct ResizeGraph : qvtest::PictureChain<CMovieResizeFilter> {
    ResizeGraph(Picture picture, int count)
        : PictureChain(
              TypeOf(picture), static_cast<int32_t>(picture.Bytes()), count, kFrame,
              [this, picture](int n, uint8_t* bytes, IMediaSample* sample) {
                  const size_t size = n == emptyAt ? 0 : n == shortAt ? 64 : picture.Bytes();
                  Fill(bytes, size, n);
                  void* object = nullptr;
                  sample->QueryInterface(IID_IMediaSample2, &object);
                  auto* sample2 = static_cast<IMediaSample2*>(object);
                  AM_SAMPLE2_PROPERTIES properties;
                  sample2->GetProperties(sizeof properties,
                                         reinterpret_cast<uint8_t*>(&properties));
                  properties.dwTypeSpecificFlags = kFlags + static_cast<uint32_t>(n);
                  sample2->SetProperties(sizeof properties,
                                         reinterpret_cast<const uint8_t*>(&properties));
                  sample2->Release();
                  return static_cast<int32_t>(size);
              },
              new CMovieResizeFilter(nullptr, nullptr, CLSID_MovieResizeFilter),
              new qvtest::RecordingRenderer(MEDIATYPE_Video, false)) {}
    int emptyAt = -1, shortAt = -1;  // set before the run
};

// The source index of destination index i.
using Pick = uint32_t (*)(uint32_t i, uint32_t from, uint32_t to);
uint32_t Quarter(uint32_t i, uint32_t, uint32_t) {
    return 4 * i + 1;
}
uint32_t Rule(uint32_t i, uint32_t from, uint32_t to) {
    const double scale = static_cast<double>(from) / to;
    return static_cast<uint32_t>(std::trunc((i + 0.5) * scale - 1e-10));
}

std::vector<uint8_t> Expected(const Picture& p, int n, uint32_t width, uint32_t height, Pick pick) {
    std::vector<uint8_t> source(p.Bytes()), out(size_t{width} * height * p.PixelBytes());
    Fill(source.data(), source.size(), n);
    const size_t bpp = p.PixelBytes(), fromStep = p.fullWidth * bpp, toStep = width * bpp;
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* row = &source[pick(y, p.fullHeight, height) * fromStep];
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t column = pick(x, p.fullWidth, width);
            uint8_t* d = &out[y * toStep + x * bpp];
            if (bpp == 4) {
                std::memcpy(d, row + 4 * column, 4);
            } else {
                d[0] = row[2 * column];
                d[1] = row[4 * pick(x / 2, p.fullWidth, width) + (x % 2 ? 3 : 1)];
            }
        }
    }
    return out;
}

struct ResizeCase {
    const char* label;
    Picture picture;
    uint32_t width, height;  // of the result
    Pick pick;
};

class MovieResizeFilterTest : public testing::TestWithParam<ResizeCase> {};

TEST_P(MovieResizeFilterTest, ReducesEveryPictureAndCarriesTimesAndFlags) {
    qv_test::Watchdog watchdog("resize run", std::chrono::seconds(240));
    const ResizeCase& c = GetParam();
    ResizeGraph g(c.picture, 4);
    ASSERT_TRUE(g.connected);
    g.sink->keepBytes = true;
    g.emptyAt = 1;
    g.shortAt = 3;              // holds less than its full size says: never read past its end
    ASSERT_EQ(g.Play(), S_OK);  // the empty sample is no error

    const std::vector<qvtest::Delivered> got = g.sink->Samples();
    ASSERT_EQ(got.size(), 2u);  // ... and gives nothing
    for (size_t i = 0; i < got.size(); ++i) {
        const int n = static_cast<int>(2 * i);
        EXPECT_EQ(got[i].typeFlags, kFlags + n);
        EXPECT_EQ(got[i].start, n * kFrame);
        EXPECT_EQ(got[i].stop, n * kFrame + kFrame);
        ASSERT_EQ(got[i].bytes.size(), size_t{c.width} * c.height * c.picture.PixelBytes());
        EXPECT_TRUE(got[i].bytes == Expected(c.picture, n, c.width, c.height, c.pick))
            << "picture " << n;
    }

    // The output type: the input's header and colour fields, the subtype of the pixel format.
    const CMediaType& in = g.filter->InputPin()->CurrentMediaType();
    const CMediaType& out = g.sink->InputPin()->CurrentMediaType();
    ASSERT_EQ(out.FormatLength(), video_format::kFormatBlockSize);
    EXPECT_EQ(std::memcmp(out.Format(), in.Format(), video_format::kHeaderSize), 0);
    const Block b(out);
    EXPECT_EQ(b.U32(video_format::kOffsetGamma), kGamma);
    EXPECT_EQ(b.U32(video_format::kOffsetGamut), kGamut);
    EXPECT_EQ(b.U32(video_format::kOffsetHLGColor), kHLG);
    EXPECT_EQ(b.U32(video_format::kOffsetLook), kLook);
    EXPECT_EQ(b.U32(video_format::kOffsetCodecKind), 0u);
    EXPECT_EQ(b.U32(video_format::kOffsetFullWidth), 0u);
    EXPECT_TRUE(out.subtype ==
                (c.picture.format == kPixelFormatBGR4 ? MEDIASUBTYPE_RGB32 : MEDIASUBTYPE_YUY2));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, MovieResizeFilterTest,
    testing::Values(
        ResizeCase{"QuarterOf4096YUY2", {kPixelFormatYUY2, 4096, 2160, 2}, 1024, 540, &Quarter},
        ResizeCase{"QuarterOf4096BGR4", {kPixelFormatBGR4, 4096, 2160, 2}, 1024, 540, &Quarter},
        // 1921 / 2 and 1081 / 2 truncate; the sampling scale is the true ratio.
        ResizeCase{"HalfOfOddWidthBGR4", {kPixelFormatBGR4, 1921, 1081, 1}, 960, 540, &Rule}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(MovieResizeFilterTest, AnotherScalePassesTheInputsLengthUnresized) {
    qv_test::Watchdog watchdog("unresized run");
    const Picture picture{kPixelFormatBGR4, 64, 32, 3};
    ResizeGraph g(picture, 2);
    ASSERT_TRUE(g.connected);
    g.sink->keepBytes = true;
    ASSERT_EQ(g.Play(), S_OK);
    const std::vector<qvtest::Delivered> got = g.sink->Samples();
    ASSERT_EQ(got.size(), 2u);
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].start, static_cast<REFERENCE_TIME>(i) * kFrame);
        EXPECT_EQ(got[i].bytes.size(), picture.Bytes());
        EXPECT_EQ(got[i].typeFlags, kFlags + i);
    }
    EXPECT_EQ(g.filter->Config().pictureScale, 3u);
}

// After the flush every frame arrives, in order, in the new segment; a stop while frames are in
// flight on both threads returns, and destruction ends them.
TEST(MovieResizeFilterTest, AFlushAndAStopWhileRunningEndCleanly) {
    qv_test::Watchdog watchdog("flush and stop");
    constexpr int kFlushAt = 20, kAfter = 30;
    CUManualResetEvent
        enough;  // before the graph: its delivery thread may call the gate until then
    ResizeGraph g({kPixelFormatYUY2, 64, 32, 1}, 1 << 30);
    ASSERT_TRUE(g.connected);
    g.pin->flushAt = kFlushAt;
    g.sink->gate = [&](const qvtest::Delivered& d) {
        if (d.segment == 1 && d.start >= (kFlushAt + kAfter) * kFrame) enough.Set();
    };
    ASSERT_EQ(g.graph.Run(), S_OK);
    enough.Wait();  // the watchdog's limit
    EXPECT_EQ(g.graph.Stop(), S_OK);

    REFERENCE_TIME expected = kFlushAt * kFrame, last = -1;
    for (const qvtest::Delivered& d : g.sink->Samples()) {
        if (d.segment == 0) {
            EXPECT_LT(d.start, kFlushAt * kFrame);
            EXPECT_GT(d.start, last);
            last = d.start;
            continue;
        }
        EXPECT_EQ(d.start, expected);
        expected += kFrame;
    }
    EXPECT_GT(expected, (kFlushAt + kAfter) * kFrame);
}

}  // namespace

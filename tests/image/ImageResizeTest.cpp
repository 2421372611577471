// The picture reduction against the sampling it must give: the rows and columns of the divisors
// in use (2: row 2y, pixel 2x, chroma pair 2k; 4: row 4y + 1, pixel 4x + 1, chroma pair 4k + 1),
// exact copies at equal sizes, the general rule at other sizes (where rows end in pixels that the
// unrolled copies leave to the table loop), and the statuses that move nothing.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "image/CMBXImageResizeUtility.h"

namespace {

using Size = CMBXImageResizeUtility::Size;

enum class Format { YUY2, BGR4 };

// The source index of destination index i, when the call succeeds.
using Pick = uint32_t (*)(uint32_t i, uint32_t from, uint32_t to);
uint32_t Half(uint32_t i, uint32_t, uint32_t) {
    return 2 * i;
}
uint32_t Quarter(uint32_t i, uint32_t, uint32_t) {
    return 4 * i + 1;
}
uint32_t Same(uint32_t i, uint32_t, uint32_t) {
    return i;
}
uint32_t Rule(uint32_t i, uint32_t from, uint32_t to) {
    const double scale = static_cast<double>(from) / to;
    return static_cast<uint32_t>(std::trunc((i + 0.5) * scale - 1e-10));
}

struct Case {
    const char* label;
    Format format;
    Size from, to;
    int32_t status;
    Pick pick = nullptr;  // with status 0
};

constexpr uint32_t kUntouched = 0xDEADBEEF;
constexpr uint8_t kFill = 0xAB;

class ImageResizeTest : public testing::TestWithParam<Case> {};

TEST_P(ImageResizeTest, SamplesAsTheRuleSaysOrMovesNothing) {
    const Case& c = GetParam();
    const uint32_t bpp = c.format == Format::YUY2 ? 2 : 4;
    // Pictures too large for their byte counts are never allocated: the call refuses them first.
    const uint64_t fromBytes = uint64_t{c.from.width} * c.from.height * bpp;
    const uint64_t toBytes = uint64_t{c.to.width} * c.to.height * bpp;
    auto bufferSize = [](uint64_t bytes) { return bytes && bytes <= (1u << 26) ? bytes : 64; };
    std::vector<uint8_t> source(bufferSize(fromBytes));
    std::vector<uint8_t> destination(bufferSize(toBytes), kFill);
    std::mt19937 random(7);
    for (uint8_t& b : source) b = static_cast<uint8_t>(random());

    CMBXImageResizeUtility resizer;
    uint32_t length = kUntouched;
    auto run = [&] {
        return c.format == Format::YUY2
                   ? resizer.ResizeYUY2(source.data(), destination.data(), &length, c.from, c.to)
                   : resizer.ResizeBGR4(source.data(), destination.data(), &length, c.from, c.to);
    };
    ASSERT_EQ(run(), c.status);
    if (c.status != 0) {
        EXPECT_EQ(length, kUntouched);
        for (const uint8_t b : destination) ASSERT_EQ(b, kFill);
        return;
    }
    ASSERT_EQ(length, toBytes);
    const size_t fromStep = size_t{c.from.width} * bpp, toStep = size_t{c.to.width} * bpp;
    for (uint32_t y = 0; y < c.to.height; ++y) {
        const uint8_t* row = &source[c.pick(y, c.from.height, c.to.height) * fromStep];
        const uint8_t* out = &destination[y * toStep];
        for (uint32_t x = 0; x < c.to.width; ++x) {
            const uint32_t column = c.pick(x, c.from.width, c.to.width);
            if (c.format == Format::BGR4) {
                for (uint32_t i = 0; i < 4; ++i)
                    ASSERT_EQ(out[4 * x + i], row[4 * column + i]) << x << "," << y;
                continue;
            }
            const uint32_t pair = c.pick(x / 2, c.from.width, c.to.width);  // chroma by pairs
            ASSERT_EQ(out[2 * x], row[2 * column]) << x << "," << y;
            ASSERT_EQ(out[2 * x + 1], row[4 * pair + (x % 2 ? 3 : 1)]) << x << "," << y;
        }
    }
    // The object keeps its buffers: a second call gives the same picture.
    const std::vector<uint8_t> first = destination;
    ASSERT_EQ(run(), 0);
    EXPECT_EQ(destination, first);
}

constexpr Size k2160{3840, 2160}, k1080{1920, 1080}, k540{960, 540};

INSTANTIATE_TEST_SUITE_P(
    Cases, ImageResizeTest,
    testing::Values(
        Case{"YUY2Half2160", Format::YUY2, k2160, k1080, 0, &Half},
        Case{"YUY2Quarter2160", Format::YUY2, k2160, k540, 0, &Quarter},
        Case{"BGR4Half2160", Format::BGR4, k2160, k1080, 0, &Half},
        Case{"BGR4Quarter2160", Format::BGR4, k2160, k540, 0, &Quarter},
        // Rows whose pixel count is no multiple of the unrolled block, and scales not in use.
        Case{"YUY2HalfShortRows", Format::YUY2, {28, 6}, {14, 3}, 0, &Half},
        Case{"YUY2QuarterShortRows", Format::YUY2, {4088, 8}, {1022, 2}, 0, &Quarter},
        Case{"BGR4QuarterShortRows", Format::BGR4, {4092, 8}, {1023, 2}, 0, &Quarter},
        Case{"BGR4HalfShortRows", Format::BGR4, {30, 4}, {15, 2}, 0, &Half},
        // Unrolled columns on every row: the last loads end where the source ends.
        Case{"YUY2HalfColumnsAllRows", Format::YUY2, {64, 3}, {32, 3}, 0, &Rule},
        Case{"YUY2QuarterColumnsAllRows", Format::YUY2, {64, 3}, {16, 3}, 0, &Rule},
        Case{"BGR4HalfColumnsAllRows", Format::BGR4, {32, 3}, {16, 3}, 0, &Rule},
        Case{"BGR4QuarterColumnsAllRows", Format::BGR4, {32, 3}, {8, 3}, 0, &Rule},
        Case{"BGR4Third", Format::BGR4, {999, 7}, {333, 3}, 0, &Rule},
        Case{"YUY2Odd", Format::YUY2, {1000, 5}, {334, 4}, 0, &Rule},
        Case{"BGR4Enlarges", Format::BGR4, {3, 2}, {8, 5}, 0, &Rule},
        Case{"YUY2Copy", Format::YUY2, {1922, 3}, {1922, 3}, 0, &Same},
        Case{"BGR4Copy", Format::BGR4, {1921, 3}, {1921, 3}, 0, &Same},
        Case{"YUY2OddSourceWidth", Format::YUY2, {1921, 1080}, {960, 540}, 48},
        Case{"YUY2OddDestinationWidth", Format::YUY2, {1920, 1080}, {961, 540}, 48},
        Case{"YUY2OneWide", Format::YUY2, {1, 4}, {1, 2}, -6},
        Case{"YUY2NoHeight", Format::YUY2, k2160, {1920, 0}, 1},
        Case{"BGR4NoHeight", Format::BGR4, k2160, {1920, 0}, 1},
        Case{"BGR4NoSourceWidth", Format::BGR4, {0, 2160}, k1080, 1},
        // Byte counts beyond 32 bits: refused before anything is read or written.
        Case{"BGR4DestinationOverflow", Format::BGR4, k2160, {65536, 16384}, -4},
        Case{"YUY2DestinationOverflow", Format::YUY2, k2160, {65536, 32768}, -4},
        Case{"BGR4SourceOverflow", Format::BGR4, {65536, 16384}, {2, 2}, -4},
        Case{"YUY2SourceOverflow", Format::YUY2, {65536, 32768}, {2, 2}, -4}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(ImageResizeTest, ANullPointerIsRefusedBeforeAnythingElse) {
    CMBXImageResizeUtility resizer;
    uint8_t bytes[64] = {};
    uint32_t length = kUntouched;
    const Size from{4, 4}, to{2, 2};
    EXPECT_EQ(resizer.ResizeYUY2(nullptr, bytes, &length, from, to), -5);
    EXPECT_EQ(resizer.ResizeYUY2(bytes, nullptr, &length, from, to), -5);
    EXPECT_EQ(resizer.ResizeBGR4(bytes, bytes, nullptr, from, to), -5);
    EXPECT_EQ(resizer.ResizeBGR4(nullptr, bytes, &length, {0, 0}, {1u << 20, 1u << 20}), -5);
    EXPECT_EQ(length, kUntouched);
}

TEST(ImageResizeTest, ALargerPictureLaterGrowsTheTables) {
    CMBXImageResizeUtility resizer;
    uint32_t length = 0;
    for (const uint32_t width : {8u, 64u, 4096u}) {
        std::vector<uint8_t> source(size_t{width} * 16 * 4, 1), destination(width / 2 * 8 * 4);
        ASSERT_EQ(resizer.ResizeBGR4(source.data(), destination.data(), &length, {width, 16},
                                     {width / 2, 8}),
                  0);
        ASSERT_EQ(resizer.ResizeYUY2(source.data(), destination.data(), &length, {width, 16},
                                     {width / 2, 8}),
                  0);
        EXPECT_EQ(length, destination.size() / 2);
    }
}

}  // namespace

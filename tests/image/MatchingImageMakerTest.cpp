// The matching image maker: worker counts and bands, which kernel each look type runs, when new
// parameters and the picture flag reach the workers, line padding and odd widths, the shared
// tables (one load for two makers, counted, freed by the next start, computed when the file is
// short), and the display's luminance. The kernels are the test's own: each output pixel says
// which table its kernel came from, the key it was made for, and the input row it read.
#include "image/CMBXMatchingImageMaker.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <thread>
#include <vector>

#include "foundation/CUManualResetEvent.h"
#include "image/FileTables.h"
#include "image/SharedTables.h"
#include "platform/DisplayLuminance.h"
#include "support/TestFiles.h"

namespace {

using image::KernelKind;
using image::RowKernel;
using image::TableId;

constexpr uint8_t kUntouched = 0x55;
constexpr uint32_t kInputBytes = 4;  // pixel format 8, which reads no table

std::atomic<int> lookCalls{0};
std::atomic<bool> gated{false};  // kernels wait at passGate, after setting passEntered
CUManualResetEvent passEntered, passGate;

void MarkBody(const image::KernelPlan& plan, const uint8_t* source, uint8_t* destination,
              uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    if (gated.load()) passEntered.Set(), passGate.Wait();
    for (uint32_t row = 0; row < rows; ++row, destination += linePadding * 4) {
        for (uint32_t x = 0; x < (lastGroup + 1) * 4; ++x, source += kInputBytes) {
            *destination++ = plan.lutNumber;
            *destination++ = static_cast<uint8_t>(plan.kind);
            *destination++ = source[0];
            *destination++ = 0xEE;
        }
    }
}

RowKernel Mark(uint32_t key, KernelKind kind) {
    return RowKernel(&MarkBody, {.kind = kind, .lutNumber = static_cast<uint8_t>(key)});
}

// Key: the picture flag in bit 0, the target gamma above it. The look table holds keys below 0x80.
constexpr MatchingKernelFinders kTestFinders{
    [](const MatchingParameters& p) { return (p.pictureFlag & 1u) | (p.targetGamma & 0x7F) << 1; },
    [](uint32_t key) { return Mark(key, KernelKind::IntegerPlain); },
    [](uint32_t key) {
        ++lookCalls;
        return key < 0x80 ? Mark(key, KernelKind::FileTable) : RowKernel();
    }};

MatchingParameters Picture(int16_t width, int16_t height, uint32_t padding = 0) {
    return {.pixelFormat = matching::kFormatBgr4,
            .width = width,
            .height = height,
            .linePadding = padding};
}

struct Started {
    Started(const MatchingParameters& p, uint32_t processors = 4)
        : maker(processors, kTestFinders) {
        maker.SetParameters(p);
        maker.Start();
    }
    ~Started() { maker.Stop(); }
    CMBXMatchingImageMaker maker;
};

// A picture whose input pixels carry their row number, converted once into untouched output.
struct Converted {
    Converted(CMBXMatchingImageMaker& maker, const MatchingParameters& p)
        : p(p),
          input(size_t(p.width) * p.height * kInputBytes),
          output(size_t(p.width + p.linePadding) * p.height * 4 + 64, kUntouched) {
        for (size_t i = 0; i < input.size(); i += kInputBytes)
            input[i] = static_cast<uint8_t>(i / kInputBytes / p.width);
        maker.Convert(input.data(), output.data());
    }
    const uint8_t* Pixel(int x, int y) const {
        return &output[(size_t(y) * (p.width + p.linePadding) + x) * 4];
    }
    MatchingParameters p;
    std::vector<uint8_t> input, output;
};

class MakerTest : public testing::Test {
protected:
    void SetUp() override { image::SetTableFolder(tables.root); }
    void TearDown() override { image::SetTableFolder(""); }
    qvtest::TempDirectory tables;
};

TEST(WorkerCount, FollowsTheProcessorThresholds) {
    const std::pair<uint32_t, uint32_t> cases[] = {{1, 4},   {11, 4},  {12, 8},  {19, 8},
                                                   {20, 16}, {31, 16}, {32, 24}, {64, 24}};
    for (const auto& [processors, workers] : cases)
        EXPECT_EQ(CMBXMatchingImageMaker::WorkerCountFor(processors), workers) << processors;
    EXPECT_EQ(CMBXMatchingImageMaker(20, kTestFinders).WorkerCount(), 16u);
}

struct BandCase {
    int16_t height;
    uint32_t workers, extra, rows;  // the first `extra` workers take rows + 1
};

class BandDivision : public testing::TestWithParam<BandCase> {};

TEST_P(BandDivision, FirstBandsTakeTheSpareRowsTopToBottom) {
    const BandCase& c = GetParam();
    CMBXMatchingImageMaker::Band bands[CMBXMatchingImageMaker::kMaxWorkers];
    CMBXMatchingImageMaker::DivideBands(Picture(100, c.height, 8), c.workers, bands);
    uint64_t before = 0;
    for (uint32_t i = 0; i < c.workers; before += bands[i++].rows) {
        EXPECT_EQ(bands[i].rows, c.rows + (i < c.extra ? 1 : 0)) << "worker " << i;
        EXPECT_EQ(bands[i].sourceOffset, before * 100) << "worker " << i;
        EXPECT_EQ(bands[i].destinationOffset, before * 108) << "worker " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Tables, BandDivision,
                         testing::Values(BandCase{1080, 16, 8, 67}, BandCase{2160, 24, 0, 90},
                                         BandCase{1081, 4, 1, 270}, BandCase{3, 8, 3, 0},
                                         BandCase{0, 4, 0, 0}, BandCase{-1080, 4, 0, 0}));

// Every pixel of the picture written once, from its own row; padding and the bytes past the
// picture untouched; the last width % 4 pixels of a row black.
TEST_F(MakerTest, ConvertCoversEachRowOnceAndNothingElse) {
    const std::pair<MatchingParameters, uint32_t> cases[] = {
        {Picture(8, 10), 4}, {Picture(8, 10, 3), 20}, {Picture(10, 5, 2), 64}, {Picture(3, 4), 4}};
    for (const auto& [p, processors] : cases) {
        SCOPED_TRACE(testing::Message() << p.width << "x" << p.height << "+" << p.linePadding);
        Started s(p, processors);
        const Converted run(s.maker, p);
        for (int y = 0; y < p.height; ++y) {
            for (int x = 0; x < p.width + int(p.linePadding); ++x) {
                if (x >= p.width)
                    EXPECT_EQ(run.Pixel(x, y)[0], kUntouched) << x << "," << y;
                else if (x >= p.width / 4 * 4)
                    EXPECT_EQ(run.Pixel(x, y)[3], 0) << x << "," << y;
                else
                    EXPECT_EQ(run.Pixel(x, y)[2], y) << x << "," << y;
            }
        }
        EXPECT_EQ(run.Pixel(0, p.height)[0], kUntouched);
    }
}

// Look types 7 to 255 ask the look table first; the main table answers when it holds nothing.
TEST(LookType, DecidesWhetherTheLookTableIsAsked) {
    const std::tuple<uint32_t, uint32_t, KernelKind> cases[] = {
        {0, 1, KernelKind::IntegerPlain},   {6, 1, KernelKind::IntegerPlain},
        {7, 1, KernelKind::FileTable},      {255, 1, KernelKind::FileTable},
        {256, 1, KernelKind::IntegerPlain}, {7, 100, KernelKind::IntegerPlain}};
    for (const auto& [lookType, targetGamma, ran] : cases) {
        MatchingParameters p = Picture(4, 2);
        p.lookType = lookType;
        p.targetGamma = targetGamma;
        Started s(p);
        lookCalls = 0;
        EXPECT_EQ(Converted(s.maker, p).Pixel(0, 1)[1], static_cast<uint8_t>(ran)) << lookType;
        EXPECT_EQ(lookCalls.load() > 0, lookType >= 7 && lookType <= 255) << lookType;
    }
}

// New parameters given while a pass runs change nothing in that pass; the next picture has
// them, its bands laid out with the new padding.
TEST_F(MakerTest, ParametersGivenDuringAPassReachTheNextPicture) {
    const MatchingParameters first = Picture(8, 6);
    MatchingParameters second = Picture(8, 6, 4);
    second.targetGamma = 5;
    Started s(first, 12);
    passEntered.Reset(), passGate.Reset();
    gated = true;
    std::vector<uint8_t> input(8 * 6 * kInputBytes), output(12 * 6 * 4, kUntouched);
    std::thread pass([&] { s.maker.Convert(input.data(), output.data()); });
    passEntered.Wait();
    s.maker.SetParameters(second);
    passGate.Set();
    pass.join();
    gated = false;
    for (int y = 0; y < 6; ++y) EXPECT_EQ(output[size_t(y) * 8 * 4], 0) << y;  // key of `first`
    const Converted next(s.maker, second);
    for (int y = 0; y < 6; ++y) {
        EXPECT_EQ(next.Pixel(0, y)[0], 10) << y;
        EXPECT_EQ(next.Pixel(8, y)[0], kUntouched) << y;
    }
}

TEST_F(MakerTest, PictureFlagAloneWaitsForTheNextParameters) {
    MatchingParameters p = Picture(4, 4);
    Started s(p);
    EXPECT_EQ(Converted(s.maker, p).Pixel(0, 3)[0] & 1, 0);
    s.maker.SetPictureFlag(true);
    EXPECT_EQ(Converted(s.maker, p).Pixel(0, 3)[0] & 1, 0);
    p.pictureFlag = 1;
    s.maker.SetParameters(p);
    EXPECT_EQ(Converted(s.maker, p).Pixel(0, 3)[0] & 1, 1);
    s.maker.Stop();  // and again, on fresh threads
    s.maker.Start();
    EXPECT_EQ(Converted(s.maker, p).Pixel(0, 3)[0] & 1, 1);
}

MatchingParameters TableUser(uint32_t outputMode, uint32_t sourceGamma, uint8_t runtime = 0,
                             uint32_t format = matching::kFormatYuy2) {
    return {.sourceGamma = sourceGamma,
            .outputMode = outputMode,
            .pixelFormat = format,
            .buildRuntimeTable = runtime};
}
uint8_t* Buffer(TableId id) {
    return image::Shared().buffers[static_cast<unsigned>(id)].load();
}
uint32_t Count(TableId id) {
    return image::Shared().counts[static_cast<unsigned>(id)];
}

TEST_F(MakerTest, TwoMakersShareOneLoadAndTheNextStartFreesIt) {
    const std::vector<uint8_t> file = qvtest::Pattern(image::kTableBytes, 7);
    qvtest::WriteFile(tables.Native("QVConvData01.bin"), file);
    auto a = std::make_unique<Started>(TableUser(0, 0));
    uint8_t* loaded = Buffer(TableId::ConvData01);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(std::memcmp(loaded, file.data(), file.size()), 0);
    auto b = std::make_unique<Started>(TableUser(0, 0));
    EXPECT_EQ(Buffer(TableId::ConvData01), loaded);
    EXPECT_EQ(Count(TableId::ConvData01), 2u);
    a.reset();
    EXPECT_EQ(Count(TableId::ConvData01), 1u);
    b.reset();
    EXPECT_EQ(Buffer(TableId::ConvData01), loaded);  // kept until someone starts

    // A maker of the same mode that builds the run-time table frees the idle file table.
    auto c = std::make_unique<Started>(TableUser(0, 1, 1));
    EXPECT_EQ(Buffer(TableId::ConvData01), nullptr);
    const uint8_t* runtime = Buffer(TableId::Runtime);
    ASSERT_NE(runtime, nullptr);
    // Black, white and a saturated red of video range, by the integer rule.
    EXPECT_EQ(runtime[image::TableOffset(16, 128, 128) + 1], 0);
    EXPECT_EQ(runtime[image::TableOffset(235, 128, 128)], 235);
    EXPECT_EQ(runtime[image::TableOffset(63, 102, 240) + 2], 252);
    // An 8-bit 4:2:2 maker, whose kernels read a built run-time table, holds it; a 16-bit one
    // frees it once nobody does.
    auto e = std::make_unique<Started>(TableUser(0, 1));
    c.reset();
    Started{TableUser(0, 1, 0, matching::kFormatYuv16)};
    EXPECT_EQ(Buffer(TableId::Runtime), runtime);
    e.reset();
    Started{TableUser(0, 1, 0, matching::kFormatYuv16)};
    EXPECT_EQ(Buffer(TableId::Runtime), nullptr);
}

// A short file is not used: the table is computed from the chain its keys stand for, the bytes
// the chain's own kernel gives for a group of four pixels of one chroma.
TEST_F(MakerTest, AShortTableFileIsComputedFromItsChain) {
    qvtest::WriteFile(tables.Native("QVConvData06.bin"), qvtest::Pattern(1000));
    {
        Started s(TableUser(1, 12));
        const uint8_t* table = Buffer(TableId::ConvData06);
        ASSERT_NE(table, nullptr);
        const RowKernel chain = image::MakeRowKernel(image::FileTableChain(TableId::ConvData06));
        for (const auto& [cb, cr] : {std::pair<uint8_t, uint8_t>{128, 128}, {90, 240}, {255, 0}}) {
            const uint8_t y[4] = {16, 81, 180, 235};
            const uint8_t group[8] = {y[0], cb, y[1], cr, y[2], cb, y[3], cr};
            uint8_t rgb[12] = {};
            chain(group, rgb, 0, 1, 0);
            for (int i = 0; i < 4; ++i)
                EXPECT_EQ(std::memcmp(table + image::TableOffset(y[i], cb, cr), rgb + i * 3, 3), 0)
                    << int(y[i]) << " " << int(cb) << " " << int(cr);
        }
    }
    Started{TableUser(1, 1)};
    EXPECT_EQ(Buffer(TableId::ConvData06), nullptr);
}

TEST(DisplayLuminance, TheHostOrTheEnvironmentDecidesAndZeroKeeps1000) {
    const auto made = [](uint32_t host, const char* environment) {
        platform::SetDisplayPeakLuminance(host);
        environment ? ::setenv(platform::kDisplayNitsVariable, environment, 1)
                    : ::unsetenv(platform::kDisplayNitsVariable);
        CMBXMatchingImageMaker maker(4, kTestFinders);
        return image::Shared().displayPeakLuminance.load();
    };
    EXPECT_EQ(made(0, "700"), 700u);
    EXPECT_EQ(made(400, "700"), 400u);
    EXPECT_EQ(made(0, "7O0"), 1000u);
    EXPECT_EQ(made(0, "99999999999"), 1000u);
    EXPECT_EQ(made(0, nullptr), 1000u);
}

}  // namespace

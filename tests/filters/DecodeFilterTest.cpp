// The movie decode filter in a real graph (parser -> decoder -> recording renderer): every picture
// equals ffmpeg's decode of the same file, a seek delivers the target picture first with its
// time and no preroll picture, late input is dropped as the stream's kind says, and a second
// decoder waits for the first.
#include <gtest/gtest.h>

#include <chrono>

#include "codecs/CMBXH264Decoder.h"
#include "platform/MemAllocator.h"
#include "platform/NamedMutex.h"
#include "support/Oracle.h"
#include "support/ParserGraph.h"

namespace {

using qvtest::Delivered;
using qvtest::ParserGraph;

struct ClipCase {
    const char* label;
    synth::SynthCodec codec;
    uint32_t gop, bitDepth, chroma;
};

synth::SynthOptions Options(const std::string& dir, const ClipCase& c, uint32_t frames) {
    synth::SynthOptions o = qvtest::SmallClip(dir, std::string("DEC") + c.label, frames, c.gop, 0);
    o.codec = c.codec, o.bitDepth = c.bitDepth, o.chroma = c.chroma;
    return o;
}

class DecodeOracleTest : public testing::TestWithParam<ClipCase> {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffmpeg"}); }
};

// The kind of clip that carries each coding: H.264 in MXF files the host lists, HEVC in lone MXF
// files, MPEG-2 in clips of information-file version 1.
ParserGraph Graph(const synth::SynthOptions& options) {
    switch (options.codec) {
        case synth::SynthCodec::HEVC:
            return ParserGraph(options, {.decode = true}, false, /*fileList=*/false);
        case synth::SynthCodec::MPEG2:
            return ParserGraph(options, {.decode = true, .clipVersion = ClipVersionCIF1});
        default:
            return ParserGraph(options, {.decode = true});
    }
}

TEST_P(DecodeOracleTest, EveryPictureEqualsFfmpegsDecode) {
    qvtest::TempDirectory dir;
    ParserGraph g = Graph(Options(dir.root, GetParam(), 24));
    ASSERT_EQ(g.loaded, S_OK);
    ASSERT_TRUE(g.connected);
    ASSERT_EQ(g.Play(), S_OK);
    const std::vector<std::string> expected = qvtest::FrameMD5s(g.clip.paths.at(0), "v", "yuyv422");
    const std::vector<Delivered> got = g.video->Samples();
    ASSERT_EQ(got.size(), expected.size());
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].md5, expected[i]) << "picture " << i;
        EXPECT_EQ(got[i].start, g.TimeOf(static_cast<int64_t>(i)));
    }
}

INSTANTIATE_TEST_SUITE_P(Clips, DecodeOracleTest,
                         testing::Values(ClipCase{"H264GOP", synth::SynthCodec::H264, 12, 8, 420},
                                         ClipCase{"H264INTRA", synth::SynthCodec::H264, 1, 8, 420},
                                         ClipCase{"HEVCGOP", synth::SynthCodec::HEVC, 12, 8, 420},
                                         ClipCase{"HEVC10", synth::SynthCodec::HEVC, 12, 10, 420},
                                         ClipCase{"HEVC422", synth::SynthCodec::HEVC, 6, 10, 422},
                                         ClipCase{"MPEG2GOP", synth::SynthCodec::MPEG2, 12, 8,
                                                  420}),
                         [](const auto& info) { return std::string(info.param.label); });

class DecodeSeekTest : public testing::TestWithParam<int64_t> {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffmpeg"}); }
};

TEST_P(DecodeSeekTest, TheTargetPictureComesFirstAtTimeZero) {
    qvtest::TempDirectory dir;
    ParserGraph g(Options(dir.root, {"SEEK", synth::SynthCodec::H264, 12, 8, 420}, 30),
                  {.decode = true});
    ASSERT_EQ(g.loaded, S_OK);
    const std::vector<std::string> expected = qvtest::FrameMD5s(g.clip.paths.at(0), "v", "yuyv422");
    IMediaSeeking* seeking = g.Seeking();
    ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    int64_t target = GetParam();
    seeking->SetPositions(&target, AM_SEEKING_AbsolutePositioning, nullptr, 0);
    ASSERT_EQ(g.Play(), S_OK);
    const std::vector<Delivered> got = g.video->Samples();
    ASSERT_EQ(static_cast<int64_t>(got.size()), 30 - target);  // no preroll picture
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_EQ(got[i].md5, expected[static_cast<size_t>(target) + i]) << "picture " << i;
        EXPECT_EQ(got[i].start, g.TimeOf(static_cast<int64_t>(i)));
        EXPECT_FALSE(got[i].preroll);
    }
}

INSTANTIATE_TEST_SUITE_P(Targets, DecodeSeekTest, testing::Values(0, 5, 12, 13, 29));

// Holds the machine-wide decode mutex, so that a decode worker waits and its input stays queued
// where a test can look at it.
struct HeldDecoderMutex {
    HeldDecoderMutex() : mutex(CDecodeThread::kMutexName) {
        EXPECT_EQ(mutex.Acquire(nullptr), S_OK);
    }
    CNamedMutex mutex;
};

// Waits, on the queue's own event, until the last queued item is an end of stream.
void WaitForQueuedEnd(CMediaSampleQueue& queue) {
    for (;;) {
        queue.Lock();
        const size_t count = queue.GetCount();
        const QueueItem last = count ? queue.PeekAt(count - 1) : 0;
        queue.Unlock();
        if (last == kQueueEndOfStream) return;
        queue.Wait();
    }
}

// Late input on a worker that cannot start: samples 0..9 at 40 ms, every third a sync point,
// thrown away or marked by SkipLateInput with a limit of 3 frames and a window of 2.
struct LateCase {
    const char* name;
    bool longGop;
    uint8_t mp4Source;
    std::vector<REFERENCE_TIME> left;     // start frames of what stays queued
    std::vector<REFERENCE_TIME> preroll;  // ... of those marked preroll
};

class LateInput : public testing::TestWithParam<LateCase> {
protected:
    static constexpr REFERENCE_TIME kFrame = 400000;
    void TearDown() override { allocator->Decommit(); }
    ~LateInput() override { allocator->Release(); }

    HeldDecoderMutex held;
    DecoderConfig config;
    CMemAllocator* allocator = [] {
        auto* a = new CMemAllocator("late input");
        a->AddRef();
        return a;
    }();
};

TEST_P(LateInput, IsDroppedOrMarkedAsTheStreamsKindSays) {
    const LateCase& c = GetParam();
    CDecodeThread worker(CUCreate<CMBXH264Decoder>(), &config, c.mp4Source);
    ALLOCATOR_PROPERTIES wanted{10, 16, 1, 0}, actual;
    ASSERT_EQ(allocator->SetProperties(&wanted, &actual), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    for (int i = 0; i < 10; ++i) {
        IMediaSample* sample = nullptr;
        ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        REFERENCE_TIME start = i * kFrame, stop = start + kFrame;
        sample->SetTime(&start, &stop);
        sample->SetSyncPoint(i % 3 == 0);
        worker.Queue().PushSample(sample);
        sample->Release();
    }
    const int walked = worker.SkipLateInput(3 * kFrame, c.longGop, 2 * kFrame);
    if (!c.longGop) {
        EXPECT_EQ(walked, 1);  // it stopped at a sample still due
    }
    std::vector<REFERENCE_TIME> left, preroll;
    worker.Queue().Lock();
    for (size_t i = 0; i < worker.Queue().GetCount(); ++i) {
        IMediaSample* sample = CMediaSampleQueue::AsSample(worker.Queue().PeekAt(i));
        REFERENCE_TIME start = 0, stop = 0;
        sample->GetTime(&start, &stop);
        left.push_back(start / kFrame);
        if (sample->IsPreroll() == S_OK) preroll.push_back(start / kFrame);
    }
    worker.Queue().Unlock();
    EXPECT_EQ(left, c.left);
    EXPECT_EQ(preroll, c.preroll);
}

INSTANTIATE_TEST_SUITE_P(
    Streams, LateInput,
    testing::Values(
        // Late by one frame at frame 2: due from frame 2 + 3 frames (the limit plus twice the
        // lateness) on; all intra drops from the front until a sample is due.
        LateCase{"AllIntra", false, 0, {5, 6, 7, 8, 9}, {}},
        // Everything before frame 5 is late: from MXF only what is not a sync point goes, from
        // MP4 it stays, marked preroll.
        LateCase{"LongGopFromMXF", true, 0, {0, 3, 5, 6, 7, 8, 9}, {}},
        LateCase{"LongGopFromMP4", true, 1, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {1, 2, 4}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DecodeFilterTest, QualityOnTimeOrWithoutAWorkerGoesUpstream) {
    HRESULT hr = S_OK;
    auto* filter = new CMovieDecodeFilter(nullptr, &hr, CLSID_MovieDecodeFilter);
    filter->NonDelegatingAddRef();
    Quality q;
    q.Late = 400000;
    EXPECT_EQ(filter->AlterQuality(q), S_FALSE);  // no worker yet
    q.Late = 0;
    EXPECT_EQ(filter->AlterQuality(q), S_FALSE);
    void* probe = nullptr;
    EXPECT_EQ(filter->NonDelegatingQueryInterface(IID_IMovieDecoderProbe, &probe), S_OK);
    EXPECT_EQ(probe, static_cast<IBaseFilter*>(filter));
    static_cast<IBaseFilter*>(probe)->Release();
    filter->NonDelegatingRelease();
}

TEST(DecodeFilterTest, ASecondDecoderWaitsForTheFirstAndGoesWithoutDelay) {
    qvtest::TempDirectory dir;
    const ClipCase clip{"TWO", synth::SynthCodec::H264, 12, 8, 420};
    auto first = std::make_unique<ParserGraph>(Options(dir.root, clip, 12),
                                               qvtest::PinChoice{.decode = true});
    ASSERT_EQ(first->Play(), S_OK);  // its worker holds the machine's decode mutex from now on
    EXPECT_EQ(first->video->Samples().size(), 12u);

    qvtest::TempDirectory dir2, dir3;
    {
        // One that waits is destroyed while it waits.
        ParserGraph waiting(Options(dir3.root, clip, 12), {.decode = true});
        ASSERT_EQ(waiting.graph.Run(), S_OK);
        WaitForQueuedEnd(waiting.decoder->Worker()->Queue());
    }
    ParserGraph second(Options(dir2.root, clip, 12), {.decode = true});
    ASSERT_EQ(second.graph.Run(), S_OK);
    WaitForQueuedEnd(second.decoder->Worker()->Queue());
    EXPECT_TRUE(second.video->Samples().empty());  // all its input waits behind the mutex
    first.reset();
    EXPECT_EQ(second.graph.WaitForCompletion(120000), S_OK);
    EXPECT_EQ(second.video->Samples().size(), 12u);
}

}  // namespace

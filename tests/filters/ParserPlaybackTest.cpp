// Playing synthesized MXF clips through the parser's video pin in a real graph: every frame once
// and in order with its bytes and its time, seeks with preroll from the key frame, the end of the
// clip, and seeking by frames and by media time alike. (Sound and timecode beside the pictures over
// a whole clip: qvclip's play tests.)
#include <gtest/gtest.h>

#include "support/ParserGraph.h"

namespace {

using qvtest::Delivered;
using qvtest::ParserGraph;

synth::SynthOptions LongGop(const std::string& dir, uint32_t frames) {
    return qvtest::SmallClip(dir, "PLAY0001", frames, 12, 2);
}

// The delivery a seek to `target` must give: the preroll frames from the key frame before it,
// untimed, then every frame from the target (or the last frame) on, timed from 0.
void ExpectSeekDelivery(const ParserGraph& g, const std::vector<Delivered>& got, int64_t target) {
    const auto total = static_cast<int64_t>(g.clip.packages.size());
    const int64_t first = std::min(target, total - 1);
    int64_t key = first;
    while (!g.clip.packages[static_cast<size_t>(key)].key) --key;
    ASSERT_EQ(static_cast<int64_t>(got.size()), total - key);
    for (size_t i = 0; i < got.size(); ++i) {
        const Delivered& d = got[i];
        const int64_t frame = key + static_cast<int64_t>(i);
        SCOPED_TRACE("frame " + std::to_string(frame));
        EXPECT_EQ(g.FrameOf(d), frame);
        EXPECT_EQ(d.preroll, frame < first);
        EXPECT_EQ(d.timed, frame >= first);
        if (d.timed) {
            EXPECT_EQ(d.start, g.TimeOf(frame - first));
            EXPECT_EQ(d.stop, g.TimeOf(frame - first + 1));
        }
        EXPECT_EQ(d.discontinuity, i == 0);
    }
}

TEST(ParserPlaybackTest, EveryFrameArrivesOnceInOrderWithItsTimeAndMarks) {
    qvtest::TempDirectory dir;
    ParserGraph g(LongGop(dir.root, 40), {});
    ASSERT_EQ(g.loaded, S_OK);
    ASSERT_TRUE(g.connected);
    ASSERT_EQ(g.Play(), S_OK);
    const std::vector<Delivered> got = g.video->Samples();
    ASSERT_EQ(got.size(), 40u);
    for (size_t i = 0; i < got.size(); ++i) {
        const uint8_t flags = g.clip.packages[i].entry.flags;
        EXPECT_EQ(g.FrameOf(got[i]), static_cast<int64_t>(i));
        EXPECT_EQ(got[i].start, g.TimeOf(static_cast<int64_t>(i)));
        EXPECT_EQ(got[i].stop, g.TimeOf(static_cast<int64_t>(i) + 1));
        EXPECT_FALSE(got[i].preroll);
        // Intra and forward-predicted frames are where a decoder may start; bidirectional not.
        EXPECT_EQ(got[i].sync, (flags & 0x30) != 0x30) << "frame " << i;
    }
    const std::vector<qvtest::Segment> segments = g.video->Segments();
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0].start, 0);
    EXPECT_EQ(segments[0].stop, g.TimeOf(40));
    EXPECT_EQ(g.video->Ends(), 1);
}

class ParserSeekTest : public testing::TestWithParam<int64_t> {};

// A host seeks through the renderer, which passes the seek up to the parser's pin, and reads from
// it where the stream ended: the parser keeps no current position.
TEST_P(ParserSeekTest, DeliversPrerollFromTheKeyFrameThenTheTargetAtTimeZero) {
    qvtest::TempDirectory dir;
    ParserGraph g(LongGop(dir.root, 30), {});
    ASSERT_EQ(g.loaded, S_OK);
    void* object = nullptr;
    ASSERT_EQ(g.video->NonDelegatingQueryInterface(IID_IMediaSeeking, &object), S_OK);
    auto* seeking = static_cast<IMediaSeeking*>(object);
    ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    int64_t target = GetParam(), duration = 0, current = 0;
    // Stopped: nothing runs, so the seek only moves the start.
    EXPECT_EQ(seeking->SetPositions(&target, AM_SEEKING_AbsolutePositioning, nullptr, 0), 0);
    EXPECT_EQ(seeking->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, 30);
    ASSERT_EQ(g.graph.Run(), S_OK);
    ASSERT_EQ(g.graph.WaitForCompletion(60000), S_OK);
    ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
    EXPECT_EQ(seeking->GetCurrentPosition(&current), S_OK);
    EXPECT_EQ(current, g.TimeOf(30 - std::min<int64_t>(target, 29)));
    g.graph.Stop();
    seeking->Release();
    ExpectSeekDelivery(g, g.video->Samples(), target);
    EXPECT_EQ(g.video->Ends(), 1);
}

INSTANTIATE_TEST_SUITE_P(Targets, ParserSeekTest, testing::Values(0, 1, 11, 12, 17, 29, 30, 1000));

TEST(ParserPlaybackTest, SeekingByFramesAndByMediaTimeAgrees) {
    qvtest::TempDirectory dir;
    ParserGraph g(LongGop(dir.root, 30), {});
    ASSERT_EQ(g.loaded, S_OK);
    IMediaSeeking* seeking = g.Seeking();
    for (const int64_t frame : {5, 13, 26}) {
        SCOPED_TRACE(frame);
        int64_t position = frame, stop = 0;
        ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
        seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0);
        ASSERT_EQ(g.Play(), S_OK);
        const std::vector<Delivered> byFrames = g.video->Samples();
        g.video->Clear();

        // Back to 0, then the same place as media time, which comes back as media time.
        position = 0;
        seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0);
        ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_MEDIA_TIME), S_OK);
        position = g.TimeOf(frame);
        seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning | AM_SEEKING_ReturnTime,
                              nullptr, 0);
        EXPECT_EQ(position, g.TimeOf(frame));
        ASSERT_EQ(seeking->GetPositions(&position, &stop), S_OK);
        EXPECT_EQ(position, g.TimeOf(frame));
        EXPECT_EQ(stop, g.TimeOf(30));
        ASSERT_EQ(g.Play(), S_OK);
        const std::vector<Delivered> byTime = g.video->Samples();
        g.video->Clear();
        ASSERT_EQ(byFrames.size(), byTime.size());
        for (size_t i = 0; i < byTime.size(); ++i) {
            EXPECT_EQ(byFrames[i].md5, byTime[i].md5);
            EXPECT_EQ(byFrames[i].start, byTime[i].start);
        }
        ExpectSeekDelivery(g, byTime, frame);
    }
}

TEST(ParserPlaybackTest, AOneFrameClipDeliversItsFrameThenEnds) {
    qvtest::TempDirectory dir;
    synth::SynthOptions o = LongGop(dir.root, 1);
    o.gop = 1;
    ParserGraph g(o, {});
    ASSERT_EQ(g.loaded, S_OK);
    ASSERT_EQ(g.Play(), S_OK);
    const std::vector<Delivered> got = g.video->Samples();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(g.FrameOf(got[0]), 0);
    EXPECT_EQ(g.video->Ends(), 1);
}

}  // namespace

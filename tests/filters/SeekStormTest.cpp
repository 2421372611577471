// A thousand random seeks from another thread while the graph runs: no deadlock (a watchdog ends
// the process if the storm does not finish), no sample of an old segment after the new one
// begins, and a running graph that is destroyed ends every thread.
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

#include "platform/support/LoggingSink.h"
#include "support/ParserGraph.h"

namespace {

using qv_test::Watchdog;
using qvtest::Delivered;
using qvtest::ParserGraph;

synth::SynthOptions Clip(const std::string& dir) {
    synth::SynthOptions o;
    o.outDir = dir, o.name = "SEEK0001", o.width = 64, o.height = 64, o.frames = 48, o.gop = 12;
    o.channels = 1;
    return o;
}

TEST(SeekStormTest, AThousandSeeksWhileRunningNeverMixSegments) {
    qvtest::TempDirectory dir;
    ParserGraph g(Clip(dir.root), {true, true, true});
    ASSERT_EQ(g.loaded, S_OK);
    ASSERT_TRUE(g.connected);
    IMediaSeeking* seeking = g.Seeking();
    ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    const auto total = static_cast<int64_t>(g.clip.packages.size());

    Watchdog watchdog("a thousand seeks", std::chrono::seconds(240));
    ASSERT_EQ(g.graph.Run(), S_OK);
    std::thread seeker([&] {
        std::mt19937 random(20261122);
        std::uniform_int_distribution<int64_t> target(0, total + 4);
        for (int i = 0; i < 1000; ++i) {
            int64_t position = target(random);
            EXPECT_TRUE(SUCCEEDED(
                seeking->SetPositions(&position, AM_SEEKING_AbsolutePositioning, nullptr, 0)));
        }
    });
    seeker.join();
    // The last segment plays to its end on every pin.
    for (qvtest::RecordingRenderer* r : {g.video, g.audio, g.timecode})
        EXPECT_TRUE(r->WaitForEnds(1, std::chrono::seconds(120)));
    g.graph.Stop();
    watchdog.Done();

    // Within each segment, every picture is the frame its time says, counted from the segment's
    // start, and the preroll pictures lie between the key frame and that start.
    const std::vector<qvtest::Segment> segments = g.video->Segments();
    ASSERT_GE(segments.size(), 1001u);  // the first run and one per seek
    for (const Delivered& d : g.video->Samples()) {
        ASSERT_GE(d.segment, 1);
        const int64_t start = std::min(
            frame_time::ToFrames(segments[static_cast<size_t>(d.segment - 1)].start, g.rate),
            total - 1);
        const int64_t frame = g.FrameOf(d);
        if (d.preroll) {
            EXPECT_LT(frame, start);
            EXPECT_FALSE(d.timed);
        } else {
            const int64_t position = start + frame_time::ToFrames(d.start, g.rate);
            // A seek to the end shows the last frame at the end's position.
            EXPECT_EQ(std::min(position, total - 1), frame) << "segment " << d.segment;
        }
    }
}

TEST(SeekStormTest, DestroyingARunningGraphEndsEveryThread) {
    const int64_t before = CUnknown::LiveObjectCount();
    Watchdog watchdog("destroying a running graph", std::chrono::seconds(120));
    {
        qvtest::TempDirectory dir;
        ParserGraph g(Clip(dir.root), {true, true, true}, /*realtime=*/true);
        ASSERT_EQ(g.loaded, S_OK);
        ASSERT_EQ(g.graph.Run(), S_OK);
        // Real time: the pins are mid-clip, blocked on full pools or on renderers waiting for
        // the clock, when the graph goes.
    }
    watchdog.Done();
    EXPECT_EQ(CUnknown::LiveObjectCount(), before);
}

}  // namespace

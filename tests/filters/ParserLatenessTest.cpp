// A renderer that is slow on purpose makes the MXF video pin catch up: it jumps forward in the
// clip and drops frames by class, the clip still ends, every delivered picture carries the time of
// its place in the clip, the timecode pin follows the jumps and the audio pin does not.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "support/ParserGraph.h"

namespace {

using qvtest::Delivered;
using qvtest::ParserGraph;

synth::SynthOptions Clip(const std::string& dir) {
    return qvtest::SmallClip(dir, "LATE0001", 120, 12, 2);
}

// Holds the timecode renderer back until the picture of the same frame was shown, as a clock
// would: the timecode pin can only follow a jump it has not passed yet.
class Pacer {
public:
    void Shown(int64_t frame) {
        {
            std::lock_guard<std::mutex> guard(lock);
            shown = std::max(shown, frame);
        }
        changed.notify_all();
    }
    void Release() { Shown(INT64_MAX); }
    void WaitFor(int64_t frame) {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait(guard, [&] { return shown >= frame; });
    }

private:
    std::mutex lock;
    std::condition_variable changed;
    int64_t shown = -1;
};

struct Playback {
    std::vector<Delivered> video, audio, timecode;
    int jumps = 0;
};

Playback PlaySlowly(ParserGraph& g, REFERENCE_TIME cost) {
    Pacer pacer;
    g.video->renderCost = cost;
    g.video->gate = [&](const Delivered& d) { pacer.Shown(frame_time::ToFrames(d.start, g.rate)); };
    g.timecode->gate = [&](const Delivered& d) {
        pacer.WaitFor(frame_time::ToFrames(d.start, g.rate));
    };
    EXPECT_EQ(g.graph.Run(), S_OK);
    // The video pin's end releases the timecode renderer for good.
    std::thread releaser([&] {
        EXPECT_TRUE(g.video->WaitForEnds(1, std::chrono::seconds(120)));
        pacer.Release();
    });
    EXPECT_EQ(g.graph.WaitForCompletion(120000), S_OK);
    releaser.join();
    g.graph.Stop();
    Playback run{g.video->Samples(), g.audio->Samples(), g.timecode->Samples()};
    long code = 0;
    LONG_PTR from = 0, to = 0;
    while (g.graph.GetEvent(&code, &from, &to, 0) == S_OK) {
        if (code != EC_QV_FRAME_JUMP) continue;
        ++run.jumps;
        EXPECT_LT(from, to);
    }
    return run;
}

TEST(ParserLatenessTest, ASlowRendererMakesTheVideoJumpAndTheClipStillEnds) {
    qvtest::TempDirectory dir;
    ParserGraph g(Clip(dir.root), {true, true, true});
    ASSERT_EQ(g.loaded, S_OK);
    ASSERT_TRUE(g.connected);
    // Each picture takes as long as three frames last.
    const Playback run = PlaySlowly(g, 3 * g.TimeOf(1));

    EXPECT_GT(run.jumps, 0);
    ASSERT_FALSE(run.video.empty());
    ASSERT_LT(run.video.size(), 120u);
    int64_t previous = -1;
    int dropped30 = 0;
    for (const Delivered& d : run.video) {
        const int64_t frame = g.FrameOf(d);
        ASSERT_GT(frame, previous);  // forward only, never twice
        for (int64_t f = previous + 1; f < frame; ++f)
            dropped30 += (g.clip.packages[static_cast<size_t>(f)].entry.flags & 0x30) == 0x30;
        previous = frame;
        // A jump past the end lands on the clip's end: the last frame then stands there.
        if (frame == 119 && d.start == g.TimeOf(120)) continue;
        EXPECT_EQ(d.start, g.TimeOf(frame)) << "frame " << frame;
    }
    EXPECT_GT(dropped30, 0);   // bidirectional frames go first
    EXPECT_EQ(previous, 119);  // the last frame always comes

    // Sound keeps its own pace: every frame, with no gap.
    ASSERT_EQ(run.audio.size(), 120u);
    for (size_t i = 0; i < run.audio.size(); ++i)
        EXPECT_EQ(run.audio[i].start, g.TimeOf(static_cast<int64_t>(i)));

    // Timecode follows the jumps, forward only, to the last frame.
    EXPECT_LT(run.timecode.size(), 120u);
    REFERENCE_TIME last = -1;
    for (const Delivered& d : run.timecode) {
        EXPECT_GT(d.start, last);
        last = d.start;
    }
    EXPECT_GE(last, g.TimeOf(119));  // the last frame comes, at the clip's end after a jump
}

TEST(ParserLatenessTest, AFastRendererNeverMakesItJump) {
    qvtest::TempDirectory dir;
    ParserGraph g(Clip(dir.root), {true, true, true});
    ASSERT_EQ(g.loaded, S_OK);
    // Half a frame per picture: always on time.
    const Playback run = PlaySlowly(g, g.TimeOf(1) / 2);
    EXPECT_EQ(run.jumps, 0);
    EXPECT_EQ(run.video.size(), 120u);
    EXPECT_EQ(run.timecode.size(), 120u);
}

}  // namespace

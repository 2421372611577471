// The parser's audio pins: MXF planes interleaved sample by sample and refused when they cannot
// be; AAC packets timed from the packet size (the short last packet by the size before it) and a
// seek starting at the packet that holds the seek position; and, behind a parser, sound that
// takes no preroll after a seek into a long GOP.
#include "filters/AudioOutputPins.h"

#include <gtest/gtest.h>

#include "support/ParserGraph.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct PlaneCase {
    const char* name;
    uint32_t channels, bits;
    std::vector<uint64_t> sizes;  // of planes 0..3; missing ones are 0
    uint64_t bufferSize;          // what the planes must lie in
    HRESULT expected;
    uint64_t length;  // interleaved bytes when accepted
};

class InterleaveTest : public testing::TestWithParam<PlaneCase> {};

TEST_P(InterleaveTest, PlanesBecomeSampleFrames) {
    const PlaneCase& c = GetParam();
    FrameElementLayout layout;
    Bytes buffer;
    for (size_t p = 0; p < c.sizes.size(); ++p) {
        layout.soundOffset[p] = buffer.size();
        layout.soundSize[p] = c.sizes[p];
        for (uint64_t i = 0; i < c.sizes[p]; ++i)
            buffer.push_back(static_cast<uint8_t>(p << 6 | (i & 0x3F)));
    }
    uint64_t length = 0;
    ASSERT_EQ(audio_planes::InterleavedLength(layout, c.bufferSize, c.channels, c.bits, &length),
              c.expected);
    if (FAILED(c.expected)) return;
    ASSERT_EQ(length, c.length);
    Bytes out(length, 0xEE);
    audio_planes::Interleave(buffer.data(), layout, c.channels, c.bits, out.data());
    // Byte k of sample i of channel c sits at (i x channels + c) x bytes + k.
    const uint64_t bytes = c.bits / 8;
    for (uint64_t at = 0; at < length; ++at) {
        const uint64_t unit = at / bytes, k = at % bytes;
        const uint64_t channel = unit % c.channels, sample = unit / c.channels;
        EXPECT_EQ(out[at], buffer[layout.soundOffset[channel] + sample * bytes + k]) << at;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Planes, InterleaveTest,
    testing::Values(PlaneCase{"MonoCopiesItsPlane", 1, 16, {8, 6}, 1000, S_OK, 8},
                    PlaneCase{"Stereo16", 2, 16, {8, 8}, 1000, S_OK, 16},
                    PlaneCase{"Three24BitPlanesIn3ByteUnits", 3, 24, {9, 9, 9}, 1000, S_OK, 27},
                    PlaneCase{"Four16", 4, 16, {4, 4, 4, 4}, 1000, S_OK, 16},
                    PlaneCase{"TailShorterThanAUnitIsLeftOut", 2, 24, {7, 7}, 1000, S_OK, 12},
                    PlaneCase{"UnequalPlanes", 2, 16, {8, 6}, 1000, E_FAIL, 0},
                    PlaneCase{"NoChannels", 0, 16, {8}, 1000, E_FAIL, 0},
                    PlaneCase{"FiveChannels", 5, 16, {4, 4, 4, 4}, 1000, E_FAIL, 0},
                    PlaneCase{"BitsBelowAByte", 2, 4, {8, 8}, 1000, E_FAIL, 0},
                    PlaneCase{"PlaneOutsideTheBuffer", 2, 16, {8, 8}, 12, E_FAIL, 0}),
    [](const auto& info) { return std::string(info.param.name); });

// 2 channels x 16 bits at 48 kHz: 4096 bytes last 213333.33 units, 1000 bytes 52083.33.
TEST(AACTimingTest, PacketsAreTimedByTheSizeBeforeTheShortLastOne) {
    int32_t packetBytes = 0;
    const std::vector<uint64_t> sizes = {4096, 4096, 4096, 1000};
    std::vector<aac_timing::PacketTimes> got;
    for (size_t n = 0; n < sizes.size(); ++n)
        got.push_back(aac_timing::Stamp(packetBytes, sizes[n], static_cast<int64_t>(n),
                                        n + 1 == sizes.size(), 2, 16, 48000));
    const REFERENCE_TIME starts[] = {0, 213333, 426666, 640000};
    const REFERENCE_TIME stops[] = {213333, 426666, 639999, 692083};
    for (size_t n = 0; n < sizes.size(); ++n) {
        EXPECT_EQ(got[n].start, starts[n]) << n;
        EXPECT_EQ(got[n].stop, stops[n]) << n;
    }
    EXPECT_EQ(packetBytes, 4096);
    // A track without a rate, channels or bits gives no times.
    const aac_timing::PacketTimes none = aac_timing::Stamp(packetBytes, 4096, 3, false, 2, 16, 0);
    EXPECT_EQ(none.start, 0);
    EXPECT_EQ(none.stop, 0);
    // Far into a long clip the products leave 64 bits; the times saturate rather than wrap.
    const aac_timing::PacketTimes far =
        aac_timing::Stamp(packetBytes, 4096, INT64_MAX / 2, false, 1, 8, 1);
    EXPECT_EQ(far.start, INT64_MAX);
}

struct SeekCase {
    const char* name;
    int64_t startFrame;
    uint32_t num, den, packetDuration, timeScale;
    uint64_t packets;
    int64_t expected;
};

class AACStartPacketTest : public testing::TestWithParam<SeekCase> {};

TEST_P(AACStartPacketTest, StartsAtThePacketThatHoldsTheSeekPosition) {
    const SeekCase& c = GetParam();
    EXPECT_EQ(aac_timing::StartPacket(c.startFrame, {c.num, c.den}, c.packetDuration, c.timeScale,
                                      c.packets),
              c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Seeks, AACStartPacketTest,
    testing::Values(
        // 1 s into 1024-sample packets at 48 kHz: packet 46 runs from 0.981 s to 1.003 s.
        SeekCase{"InsideAPacket", 25, 25, 1, 1024, 48000, 1000, 46},
        // Packets of exactly one frame: a boundary starts its own packet.
        SeekCase{"OnABoundary", 10, 25, 1, 1920, 48000, 1000, 10},
        SeekCase{"TimeScaleIsTheRateNumerator", 7, 30000, 1001, 1001, 30000, 1000, 7},
        SeekCase{"AtTheStart", 0, 25, 1, 1024, 48000, 1000, 0},
        SeekCase{"PastTheLastPacket", 1000, 25, 1, 1024, 48000, 5, 4},
        SeekCase{"NoPackets", 3, 25, 1, 1024, 48000, 0, -1},
        SeekCase{"NoPacketFigures", 25, 25, 1, 0, 48000, 1000, 0},
        SeekCase{"NoFrameRate", 25, 0, 1, 1024, 48000, 1000, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(AudioPinPlaybackTest, ASeekIntoALongGopGivesSoundWithoutPreroll) {
    qvtest::TempDirectory dir;
    synth::SynthOptions o = qvtest::SmallClip(dir.root, "SOUND001", 30, 12, 2);
    o.soundBits = 16;
    qvtest::ParserGraph g(o, {true, true, false});
    ASSERT_EQ(g.loaded, S_OK);
    ASSERT_TRUE(g.connected);
    g.audio->keepBytes = true;
    // Paused, so that the seek restarts every pin's worker (stopped, it only moves the start).
    ASSERT_EQ(g.graph.Pause(), S_OK);
    IMediaSeeking* seeking = g.Seeking();
    ASSERT_TRUE(seeking);
    ASSERT_EQ(seeking->SetTimeFormat(&TIME_FORMAT_FRAME), S_OK);
    int64_t target = 17;
    ASSERT_EQ(seeking->SetPositions(&target, AM_SEEKING_AbsolutePositioning, nullptr, 0), S_OK);
    ASSERT_EQ(g.Play(), S_OK);

    // What came in the seek's segment (the second of each pin).
    auto afterSeek = [](const std::vector<qvtest::Delivered>& all) {
        std::vector<qvtest::Delivered> kept;
        for (const qvtest::Delivered& d : all)
            if (d.segment == 2) kept.push_back(d);
        return kept;
    };
    const std::vector<qvtest::Delivered> pictures = afterSeek(g.video->Samples());
    ASSERT_FALSE(pictures.empty());
    EXPECT_TRUE(pictures[0].preroll);  // the picture starts at the key frame before 17
    const std::vector<qvtest::Delivered> sound = afterSeek(g.audio->Samples());
    ASSERT_EQ(sound.size(), 13u);  // frames 17 to 29
    for (size_t i = 0; i < sound.size(); ++i) {
        EXPECT_FALSE(sound[i].preroll) << i;
        ASSERT_TRUE(sound[i].timed) << i;
        EXPECT_EQ(sound[i].start, g.TimeOf(static_cast<int64_t>(i)));
        EXPECT_EQ(sound[i].discontinuity, i == 0);
    }
    // The first sound is frame 17's: its first channel taken out of the 2 x 16-bit frames.
    Bytes left;
    for (size_t at = 0; at + 1 < sound[0].bytes.size(); at += 4)
        left.insert(left.end(), sound[0].bytes.begin() + at, sound[0].bytes.begin() + at + 2);
    EXPECT_EQ(qvtest::Md5Hex(left.data(), left.size()), g.clip.packages[17].sound[0].md5);
}

}  // namespace

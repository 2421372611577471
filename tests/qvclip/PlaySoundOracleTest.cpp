// qvclip play's sound against ffmpeg's extraction of the same mono tracks: the WAV (read by ffmpeg,
// its header by ffprobe) holds exactly the fold-down by the given roles (16-bit through the mixer,
// 24-bit round it), and each level event holds the frame's peaks as the splitter measures them,
// checked also against sox's stats.
#include <gtest/gtest.h>

#include <cmath>

#include "QvclipRun.h"
#include "support/Oracle.h"

namespace {

constexpr uint32_t kChannels = 4, kFrames = 12, kSamplesPerFrame = 48000 / 25;

std::string Clip(const qvtest::TempDirectory& dir, int bits, uint32_t channels) {
    return qvtest::SynthClip(dir, "SOUND001",
                             "--gop 4 --frames " + std::to_string(kFrames) + " --channels " +
                                 std::to_string(channels) + " --bits " + std::to_string(bits));
}

// Stream `map` ("a:1") of `path` as ffmpeg decodes it, one signed value a sample (interleaved when
// it has two channels); the raw bytes go to `rawPath`.
std::vector<int32_t> Samples(const std::string& path, const std::string& map, int bits,
                             const std::string& rawPath) {
    qvtest::Output("ffmpeg -v error -y -i '" + path + "' -map 0:" + map + " -f " +
                   (bits == 16 ? "s16le" : "s24le") + " '" + rawPath + "'");
    const std::vector<uint8_t> raw = qvtest::ReadFile(rawPath);
    const size_t width = bits / 8;
    std::vector<int32_t> samples;
    for (size_t at = 0; at + width <= raw.size(); at += width) {
        uint32_t value = 0;
        for (size_t b = 0; b < width; ++b) value |= uint32_t{raw[at + b]} << (8 * b);
        const uint32_t sign = 1u << (bits - 1);
        samples.push_back(static_cast<int32_t>((value ^ sign) - sign));
    }
    return samples;
}

// The level rule: peak of the frame's span in hundredths of a decibel, truncated, floor -60 dB.
int Level(const std::vector<int32_t>& track, size_t from, size_t count, int bits) {
    int32_t peak = 0;
    for (size_t i = from; i < from + count && i < track.size(); ++i)
        peak = std::max(peak, track[i] >= 0 ? track[i] : -track[i] - 1);  // -32768 counts as 32767
    if (peak == 0) return -6000;
    const double fullScale = double((1 << (bits - 1)) - 1);
    return std::max(-6000, int(20 * std::log10(peak / fullScale) * 100));
}

struct SoundCase {
    int bits;
    std::string roles, mute;
};

class PlaySound : public testing::TestWithParam<SoundCase> {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffmpeg", "ffprobe"}); }
};

TEST_P(PlaySound, WavIsTheFoldDownOfFfmpegsTracks) {
    const SoundCase& c = GetParam();
    qvtest::TempDirectory dir;
    const std::string clip = Clip(dir, c.bits, kChannels), wav = dir.Native("out.wav");
    std::string arguments = "play --json --wav '" + wav + "' --members " + clip;
    if (!c.roles.empty()) arguments += " --roles " + c.roles;
    if (!c.mute.empty()) arguments += " --mute " + c.mute;
    const qvtest::QvclipResult run = qvtest::RunQvclip(dir, arguments);
    ASSERT_EQ(run.exitCode, 0) << run.err;

    std::vector<std::vector<int32_t>> tracks;
    for (uint32_t n = 0; n < kChannels; ++n)
        tracks.push_back(Samples(clip, "a:" + std::to_string(n), c.bits, dir.Native("track.raw")));
    std::vector<uint32_t> roles = {1, 2, 1, 2};  // odd channels (from 1) left, even right
    if (!c.roles.empty())
        for (size_t n = 0; n < kChannels; ++n) roles[n] = uint32_t(c.roles[2 * n] - '0');
    std::vector<int32_t> expected;
    for (size_t i = 0; i < tracks[0].size(); ++i) {
        int32_t sides[2] = {0, 0}, counts[2] = {0, 0};
        for (size_t n = 0; n < kChannels; ++n)
            for (int side = 0; side < 2; ++side)
                if (roles[n] & (1u << side)) sides[side] += tracks[n][i], ++counts[side];
        for (int side = 0; side < 2; ++side) {
            const bool muted = c.mute == (side == 0 ? "left" : "right");
            expected.push_back(muted              ? 0
                               : counts[side] > 1 ? sides[side] / counts[side]
                                                  : sides[side]);
        }
    }
    ASSERT_EQ(expected.size(), kFrames * kSamplesPerFrame * 2);
    const std::map<std::string, std::string> header = qvtest::Probe(wav);
    EXPECT_EQ(header.at("streams.stream.0.channels"), "2");
    EXPECT_EQ(header.at("streams.stream.0.sample_rate"), "48000");
    EXPECT_EQ(header.at("streams.stream.0.bits_per_sample"), std::to_string(c.bits));
    EXPECT_EQ(header.at("streams.stream.0.duration"), "0.480000");  // the data chunk's length
    const std::vector<int32_t> played = Samples(wav, "a:0", c.bits, dir.Native("wav.raw"));
    ASSERT_EQ(played.size(), expected.size());
    EXPECT_TRUE(played == expected)
        << "first difference at sample "
        << std::mismatch(played.begin(), played.end(), expected.begin()).first - played.begin();
}

INSTANTIATE_TEST_SUITE_P(RolesAndMutes, PlaySound,
                         testing::Values(SoundCase{16, "", ""}, SoundCase{16, "1,1,2,2", ""},
                                         SoundCase{16, "3,0,0,0", ""}, SoundCase{16, "", "left"},
                                         SoundCase{16, "1,1,2,2", "right"}, SoundCase{24, "", ""},
                                         SoundCase{24, "1,1,2,2", ""}, SoundCase{24, "3,0,0,0", ""},
                                         SoundCase{24, "", "right"},
                                         SoundCase{24, "2,0,1,0", "left"}));

class PlayLevels : public testing::TestWithParam<int> {
protected:
    void SetUp() override { qvtest::RequireOracles({"ffmpeg"}); }
};

// Six channels, of which the events report the first four; one level event a frame.
TEST_P(PlayLevels, EachFrameHoldsThePeaksOfItsSpan) {
    const int bits = GetParam();
    qvtest::TempDirectory dir;
    const std::string clip = Clip(dir, bits, 6), events = dir.Native("events.jsonl");
    const qvtest::QvclipResult run =
        qvtest::RunQvclip(dir, "play --json --events '" + events + "' --members " + clip);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const std::vector<nlohmann::json> levels = qvtest::Events(events, "level");
    ASSERT_EQ(levels.size(), kFrames);

    // sox's peak level over the same span: its full scale is 2^(bits-1) and it prints hundredths,
    // so it may stand up to 0.02 dB from the truncated level.
    const bool sox = std::system("command -v sox >/dev/null 2>&1") == 0;
    const char* require = std::getenv("QV_REQUIRE_ORACLES");
    if (!sox && require && std::string(require) == "1") ADD_FAILURE() << "sox is missing";
    for (uint32_t n = 0; n < 4; ++n) {
        const std::string raw = dir.Native("track" + std::to_string(n) + ".raw");
        const std::vector<int32_t> track = Samples(clip, "a:" + std::to_string(n), bits, raw);
        for (size_t f = 0; f < kFrames; ++f) {
            SCOPED_TRACE("channel " + std::to_string(n) + ", frame " + std::to_string(f));
            ASSERT_EQ(levels[f]["levels"].size(), 4u);
            const int level = levels[f]["levels"][n];
            EXPECT_EQ(level, Level(track, f * kSamplesPerFrame, kSamplesPerFrame, bits));
            if (!sox || (f != 0 && f != kFrames - 1)) continue;
            const std::string stats = qvtest::Output(
                "sox -t raw -r 48000 -e signed -b " + std::to_string(bits) + " -c 1 '" + raw +
                "' -n trim " + std::to_string(f * kSamplesPerFrame) + "s " +
                std::to_string(kSamplesPerFrame) + "s stats 2>&1");
            const size_t at = stats.find("Pk lev dB");
            ASSERT_NE(at, std::string::npos) << stats;
            EXPECT_NEAR(level / 100.0, std::stod(stats.substr(at + 9)), 0.02) << stats;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Bits, PlayLevels, testing::Values(16, 24));

}  // namespace

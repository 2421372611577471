#include "tools/qvclip/synth/SoundTone.h"

#include <cmath>
#include <numbers>

namespace synth {

namespace {
// 250 Hz a channel and a little more, so that a frame's samples come back only after ten
// seconds and not with every frame.
constexpr double BaseFrequency = 250.0, Offset = 7.3;
constexpr double Level = 0.12589254117941673;  // -18 dBFS
}  // namespace

SoundTone::SoundTone(uint32_t channel, uint32_t bits, uint32_t sampleRate)
    : channel(channel), bits(bits), sampleRate(sampleRate) {}

double SoundTone::Frequency() const {
    return BaseFrequency * (channel + 1) + Offset;
}

std::vector<uint8_t> SoundTone::Samples(uint64_t first, uint32_t count) const {
    const uint32_t bytes = bits / 8;
    const double fullScale = std::ldexp(1.0, static_cast<int>(bits) - 1) - 1;
    // Whole cycles are dropped before the sine, so that the phase stays exact however far into
    // the clip the run begins: ten seconds hold a whole number of cycles of every tone.
    const uint64_t period = uint64_t{sampleRate} * 10;
    std::vector<uint8_t> out(static_cast<size_t>(count) * bytes);
    for (uint32_t i = 0; i < count; ++i) {
        const double phase = 2 * std::numbers::pi * Frequency() *
                             static_cast<double>((first + i) % period) / sampleRate;
        const auto value = static_cast<int32_t>(std::lround(Level * fullScale * std::sin(phase)));
        for (uint32_t b = 0; b < bytes; ++b)
            out[i * bytes + b] = static_cast<uint8_t>(static_cast<uint32_t>(value) >> (8 * b));
    }
    return out;
}

}  // namespace synth

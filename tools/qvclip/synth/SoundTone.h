// SoundTone: the sound of one channel of a test clip, a sine at -18 dBFS whose frequency tells the
// channel (250 Hz times the channel's number from 1, plus 7.3 Hz so that frames differ), as
// little-endian PCM of 16 or 24 bits. The phase runs on across frames, so any run of samples can
// be made on its own. A value: no state.
#pragma once

#include <cstdint>
#include <vector>

namespace synth {

class SoundTone {
public:
    SoundTone(uint32_t channel, uint32_t bits, uint32_t sampleRate);

    double Frequency() const;
    // `count` samples from sample `first` of the clip on.
    std::vector<uint8_t> Samples(uint64_t first, uint32_t count) const;

private:
    uint32_t channel, bits, sampleRate;
};

}  // namespace synth

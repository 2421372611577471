// The arithmetic of the sound splitter, on plain buffers: interleaved PCM of any number of
// channels is folded down to one stereo stream by the role of each channel, and the peak of every
// channel is measured as a level in hundredths of a decibel below full scale.
//
// Input: frames of `channels` samples, each `bitsPerSample` / 8 bytes, signed little-endian; only
// 16 and 24 bits are handled (8-bit wave PCM is unsigned and 32 bits would overflow the full-scale
// formula). Output: stereo frames of the same width, left first, 2 x (length / channels) bytes; a
// side takes the sum of the channels that feed it, divided (truncating toward zero) by their number
// when more than one does. Sums run in 64 bits, so any channel count a wave format can state
// (65535) fits. A trailing partial frame is not read and its place in the output stays zero.
// Levels: one per channel, 0 at full scale down to kLevelFloor, which also stands for silence. The
// peak of a sample is its ones' complement magnitude (mask - v for a negative v), so -32768 reads
// as 32767, full scale. Nothing is held from one call to the next.
//
// Threads: pure functions. Failures: SplitAndMeasure answers false, and writes nothing, for an
// unsupported width, no channels, spans too short for what it must read or write, or when its
// scratch cannot be allocated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace sound_split {

// Channel roles: which side of the stereo output a channel feeds. Any other value means none.
inline constexpr uint32_t kRoleNone = 0;
inline constexpr uint32_t kRoleLeft = 1;
inline constexpr uint32_t kRoleRight = 2;
inline constexpr uint32_t kRoleBoth = 3;

// The level of silence and the lowest level reported: -60.00 dB.
inline constexpr int16_t kLevelFloor = -6000;

// 16 or 24 bits.
bool IsSupportedWidth(uint32_t bitsPerSample);

// Bytes of stereo output for `inputLength` bytes of `channels` channels: 2 x (length / channels);
// 0 without channels.
size_t StereoLength(size_t inputLength, uint32_t channels);

// The level of a peak against full scale, truncated toward zero and held at kLevelFloor; a peak
// of 0 is silence.
int16_t PeakLevel(uint32_t peak, uint32_t fullScale);

// Folds `input` down into the first StereoLength bytes of `stereo` (zeroed first) and writes the
// level of each channel into levels[0 .. channels - 1]. `roles` holds one role per channel.
bool SplitAndMeasure(std::span<const uint8_t> input, uint32_t channels, uint32_t bitsPerSample,
                     std::span<const uint32_t> roles, std::span<uint8_t> stereo,
                     std::span<int16_t> levels);

}  // namespace sound_split

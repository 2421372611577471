// The wave format block of the PCM audio types the sound filters pass: read from a connected
// type and written for an offered one. Layout (little-endian): 0 format tag, 2 channels, 4 sample
// rate, 8 bytes a second, 12 block align, 14 bits a sample, 16 size of the extension. A block of
// at least 16 bytes can be read; the extension (such as the parsers' 40-byte extensible format)
// is not looked at. A written block is the 18-byte form with no extension.
// Threads: pure functions. Failures: Read answers false for a block too short, Write false when
// the block cannot be allocated.
#pragma once

#include <cstdint>

#include "platform/MediaType.h"

namespace wave_format {

inline constexpr uint16_t kFormatTagPCM = 1;
inline constexpr uint32_t kReadableSize = 16;
inline constexpr uint32_t kWrittenSize = 18;

struct WaveFormat {
    uint16_t formatTag = kFormatTagPCM;
    uint16_t channels = 0;
    uint32_t samplesPerSec = 0;
    uint32_t avgBytesPerSec = 0;
    uint16_t blockAlign = 0;
    uint16_t bitsPerSample = 0;
};

// Major type audio, subtype PCM, format type FORMAT_WaveFormatEx; the block is not looked at.
bool IsPCMAudio(const CMediaType& type);
bool Read(const CMediaType& type, WaveFormat* format);
// Sets the block of `type` (and nothing else of it).
bool Write(CMediaType* type, const WaveFormat& format);
// Makes `type` the PCM type the sound filters offer: audio, PCM, fixed-size samples of 1, no
// temporal compression, FORMAT_WaveFormatEx with `format`. False when the block cannot be had.
bool MakePCMType(CMediaType* type, const WaveFormat& format);

}  // namespace wave_format

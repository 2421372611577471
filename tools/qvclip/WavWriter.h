// WavWriter: the sound of `qvclip play --wav FILE`, as a RIFF WAVE file of linear PCM. The header
// is written first with zero sizes and completed by Close, so a file cut short by a crash still
// carries its format. 16-bit sound is a plain PCM file; 24-bit and more than two channels use
// the extensible form, as other tools expect.
// Failures: the constructor throws ClipError when the file cannot be made; Append and Close answer
// false once writing failed or the data would pass the 4 GiB that a RIFF size can state (the sound
// up to there is kept and the file is completed).
// Threads: one thread at a time (the sound sink's streaming thread, then the host's Close).
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace qvclip {

class WavWriter {
public:
    WavWriter(const std::string& path, uint16_t channels, uint32_t sampleRate, uint16_t bits);
    ~WavWriter();
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;

    bool Append(const uint8_t* bytes, size_t size);
    bool Close();
    uint64_t DataBytes() const { return dataBytes; }
    double Seconds() const;

private:
    std::FILE* file = nullptr;
    std::string path;
    uint16_t channels;
    uint32_t sampleRate;
    uint16_t bits;
    uint32_t headerBytes = 0;
    uint64_t dataBytes = 0;
    bool failed = false;
};

}  // namespace qvclip

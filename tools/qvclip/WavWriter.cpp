#include "tools/qvclip/WavWriter.h"

#include <cerrno>
#include <cstring>
#include <limits>

#include "tools/qvclip/ClipSession.h"

namespace qvclip {

namespace {

constexpr uint16_t kFormatPcm = 1;
constexpr uint16_t kFormatExtensible = 0xFFFE;
// KSDATAFORMAT_SUBTYPE_PCM: {00000001-0000-0010-8000-00AA00389B71}, little-endian fields.
constexpr uint8_t kSubFormatPcm[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                       0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr uint64_t kMaxRiffBytes = std::numeric_limits<uint32_t>::max();

// The header's bytes, little-endian, written into a fixed block (it is at most 68 bytes).
struct HeaderBytes {
    uint8_t bytes[80] = {};
    size_t size = 0;
    void Put(uint32_t v, int width) {
        for (int i = 0; i < width; ++i) bytes[size++] = uint8_t(v >> (8 * i));
    }
    void Tag(const char* tag) { std::memcpy(bytes + size, tag, 4), size += 4; }
    void Raw(const uint8_t* from, size_t n) { std::memcpy(bytes + size, from, n), size += n; }
};

// Speaker positions of the first channels: front left, front right, then what follows in order.
uint32_t ChannelMask(uint16_t channels) {
    return channels >= 32 ? 0xFFFFFFFFu : (uint32_t{1} << channels) - 1;
}

}  // namespace

WavWriter::WavWriter(const std::string& path, uint16_t channels, uint32_t sampleRate,
                     uint16_t bits)
    : path(path), channels(channels), sampleRate(sampleRate), bits(bits) {
    if (channels == 0 || sampleRate == 0 || bits == 0 || bits % 8 != 0)
        throw ClipError(path + ": cannot write sound of " + std::to_string(channels) +
                        " channels, " + std::to_string(bits) + " bits, " +
                        std::to_string(sampleRate) + " Hz");
    file = std::fopen(path.c_str(), "wb");
    if (!file) throw ClipError(path + ": " + std::strerror(errno));
    const bool extensible = bits > 16 || channels > 2;
    const uint32_t blockAlign = uint32_t{channels} * (bits / 8);
    HeaderBytes header;
    header.Tag("RIFF"), header.Put(0, 4), header.Tag("WAVE");
    header.Tag("fmt "), header.Put(extensible ? 40 : 16, 4);
    header.Put(extensible ? kFormatExtensible : kFormatPcm, 2), header.Put(channels, 2);
    header.Put(sampleRate, 4), header.Put(sampleRate * blockAlign, 4);
    header.Put(blockAlign, 2), header.Put(bits, 2);
    if (extensible) {
        header.Put(22, 2), header.Put(bits, 2), header.Put(ChannelMask(channels), 4);
        header.Raw(kSubFormatPcm, sizeof kSubFormatPcm);
    }
    header.Tag("data"), header.Put(0, 4);
    headerBytes = static_cast<uint32_t>(header.size);
    if (std::fwrite(header.bytes, 1, header.size, file) != header.size) failed = true;
}

WavWriter::~WavWriter() { Close(); }

bool WavWriter::Append(const uint8_t* bytes, size_t size) {
    if (!file || failed) return false;
    if (dataBytes + size + headerBytes - 8 > kMaxRiffBytes) {
        failed = true;
        return false;
    }
    if (size && std::fwrite(bytes, 1, size, file) != size) {
        failed = true;
        return false;
    }
    dataBytes += size;
    return true;
}

bool WavWriter::Close() {
    if (!file) return !failed;
    // A RIFF chunk of odd size is followed by one pad byte.
    const bool pad = dataBytes % 2 != 0;
    if (pad && std::fputc(0, file) == EOF) failed = true;
    HeaderBytes riff, data;
    riff.Put(static_cast<uint32_t>(headerBytes - 8 + dataBytes + (pad ? 1 : 0)), 4);
    data.Put(static_cast<uint32_t>(dataBytes), 4);
    if (std::fseek(file, 4, SEEK_SET) != 0 || std::fwrite(riff.bytes, 1, 4, file) != 4 ||
        std::fseek(file, headerBytes - 4, SEEK_SET) != 0 ||
        std::fwrite(data.bytes, 1, 4, file) != 4)
        failed = true;
    if (std::fclose(file) != 0) failed = true;
    file = nullptr;
    return !failed;
}

double WavWriter::Seconds() const {
    const double frameBytes = double(channels) * (bits / 8);
    return double(dataBytes) / frameBytes / sampleRate;
}

}  // namespace qvclip

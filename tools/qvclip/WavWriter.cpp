#include "tools/qvclip/WavWriter.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <vector>

#include "tools/qvclip/ClipSession.h"

namespace qvclip {

namespace {

constexpr uint16_t kFormatPcm = 1;
constexpr uint16_t kFormatExtensible = 0xFFFE;
// KSDATAFORMAT_SUBTYPE_PCM: {00000001-0000-0010-8000-00AA00389B71}, little-endian fields.
constexpr uint8_t kSubFormatPcm[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                       0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
constexpr uint64_t kMaxRiffBytes = std::numeric_limits<uint32_t>::max();

void Put16(std::vector<uint8_t>& out, uint32_t v) {
    out.push_back(uint8_t(v)), out.push_back(uint8_t(v >> 8));
}
void Put32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(uint8_t(v >> (8 * i)));
}
void PutTag(std::vector<uint8_t>& out, const char* tag) { out.insert(out.end(), tag, tag + 4); }

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
    std::vector<uint8_t> header;
    PutTag(header, "RIFF"), Put32(header, 0), PutTag(header, "WAVE");
    PutTag(header, "fmt "), Put32(header, extensible ? 40 : 16);
    Put16(header, extensible ? kFormatExtensible : kFormatPcm), Put16(header, channels);
    Put32(header, sampleRate), Put32(header, sampleRate * blockAlign);
    Put16(header, blockAlign), Put16(header, bits);
    if (extensible) {
        Put16(header, 22), Put16(header, bits), Put32(header, ChannelMask(channels));
        header.insert(header.end(), std::begin(kSubFormatPcm), std::end(kSubFormatPcm));
    }
    PutTag(header, "data"), Put32(header, 0);
    headerBytes = static_cast<uint32_t>(header.size());
    if (std::fwrite(header.data(), 1, header.size(), file) != header.size()) failed = true;
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
    std::vector<uint8_t> riff, data;
    Put32(riff, static_cast<uint32_t>(headerBytes - 8 + dataBytes + (pad ? 1 : 0)));
    Put32(data, static_cast<uint32_t>(dataBytes));
    if (std::fseek(file, 4, SEEK_SET) != 0 || std::fwrite(riff.data(), 1, 4, file) != 4 ||
        std::fseek(file, headerBytes - 4, SEEK_SET) != 0 ||
        std::fwrite(data.data(), 1, 4, file) != 4)
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

#include "filters/WaveFormat.h"

#include <cstring>

namespace wave_format {

namespace {

constexpr uint32_t kOffsetFormatTag = 0;
constexpr uint32_t kOffsetChannels = 2;
constexpr uint32_t kOffsetSamplesPerSec = 4;
constexpr uint32_t kOffsetAvgBytesPerSec = 8;
constexpr uint32_t kOffsetBlockAlign = 12;
constexpr uint32_t kOffsetBitsPerSample = 14;
constexpr uint32_t kOffsetExtensionSize = 16;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the block is little-endian");

template <class T>
T Get(const uint8_t* block, uint32_t offset) {
    T value;
    std::memcpy(&value, block + offset, sizeof value);
    return value;
}

template <class T>
void Put(uint8_t* block, uint32_t offset, T value) {
    std::memcpy(block + offset, &value, sizeof value);
}

}  // namespace

bool IsPCMAudio(const CMediaType& type) {
    return *type.Type() == MEDIATYPE_Audio && *type.Subtype() == MEDIASUBTYPE_PCM &&
           *type.FormatType() == FORMAT_WaveFormatEx;
}

bool Read(const CMediaType& type, WaveFormat* format) {
    const uint8_t* block = type.Format();
    if (!block || type.FormatLength() < kReadableSize) return false;
    format->formatTag = Get<uint16_t>(block, kOffsetFormatTag);
    format->channels = Get<uint16_t>(block, kOffsetChannels);
    format->samplesPerSec = Get<uint32_t>(block, kOffsetSamplesPerSec);
    format->avgBytesPerSec = Get<uint32_t>(block, kOffsetAvgBytesPerSec);
    format->blockAlign = Get<uint16_t>(block, kOffsetBlockAlign);
    format->bitsPerSample = Get<uint16_t>(block, kOffsetBitsPerSample);
    return true;
}

bool Write(CMediaType* type, const WaveFormat& format) {
    uint8_t* block = type->AllocFormatBuffer(kWrittenSize);
    if (!block) return false;
    Put(block, kOffsetFormatTag, format.formatTag);
    Put(block, kOffsetChannels, format.channels);
    Put(block, kOffsetSamplesPerSec, format.samplesPerSec);
    Put(block, kOffsetAvgBytesPerSec, format.avgBytesPerSec);
    Put(block, kOffsetBlockAlign, format.blockAlign);
    Put(block, kOffsetBitsPerSample, format.bitsPerSample);
    Put<uint16_t>(block, kOffsetExtensionSize, 0);
    return true;
}

bool MakePCMType(CMediaType* type, const WaveFormat& format) {
    type->InitMediaType();
    type->SetType(&MEDIATYPE_Audio);
    type->SetSubtype(&MEDIASUBTYPE_PCM);
    type->SetFormatType(&FORMAT_WaveFormatEx);
    type->SetSampleSize(1);
    type->SetTemporalCompression(false);
    return Write(type, format);
}

}  // namespace wave_format

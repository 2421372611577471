#include "filters/AudioOutputPins.h"

#include <climits>
#include <cstring>

namespace audio_format {

namespace {

constexpr uint32_t kDefaultChannels = 2, kDefaultBits = 16, kDefaultRate = 48000;
constexpr uint32_t kMaskFourChannels = 0x33, kMaskOtherwise = 0x3;
// {00000001-0000-0010-8000-00AA00389B71}: PCM as the extensible format's sub-format.
constexpr uint8_t kSubFormatPCM[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                       0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

template <class T>
void Put(uint8_t* block, uint32_t offset, T value) {
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the block is little-endian");
    std::memcpy(block + offset, &value, sizeof value);
}

}  // namespace

HRESULT Build(StreamManager* clip, CMediaType* type) {
    const uint32_t channels = clip ? clip->GetAudioChannels() : kDefaultChannels;
    const uint32_t rate = clip ? clip->GetAudioSampleRate() : kDefaultRate;
    const uint32_t bits = clip ? clip->GetAudioBitDepth() : kDefaultBits;
    type->InitMediaType();
    type->SetType(&MEDIATYPE_Audio);
    type->SetSubtype(&MEDIASUBTYPE_PCM);
    type->SetFormatType(&FORMAT_WaveFormatEx);
    uint8_t* block = type->AllocFormatBuffer(kFormatBlockSize);
    if (!block) return E_OUTOFMEMORY;
    const uint64_t blockAlign = uint64_t{bits} * channels >> 3;
    Put<uint16_t>(block, 0, kWaveFormatExtensible);
    Put<uint16_t>(block, 2, static_cast<uint16_t>(channels));
    Put<uint32_t>(block, 4, rate);
    Put<uint32_t>(block, 8, static_cast<uint32_t>(uint64_t{rate} * bits * channels >> 3));
    Put<uint16_t>(block, 12, static_cast<uint16_t>(blockAlign));
    Put<uint16_t>(block, 14, static_cast<uint16_t>(bits));
    Put<uint16_t>(block, 16, 22);
    Put<uint16_t>(block, 18, static_cast<uint16_t>(bits));
    Put<uint32_t>(block, 20, channels == 4 ? kMaskFourChannels : kMaskOtherwise);
    std::memcpy(block + 24, kSubFormatPCM, sizeof kSubFormatPCM);
    return S_OK;
}

HRESULT Check(const CMediaType* type) {
    if (!type) return E_FAIL;
    return *type->Type() == MEDIATYPE_Audio && *type->Subtype() == MEDIASUBTYPE_PCM ? S_OK : E_FAIL;
}

}  // namespace audio_format

namespace audio_planes {

HRESULT InterleavedLength(const FrameElementLayout& layout, uint64_t bufferSize, uint32_t channels,
                          uint32_t bits, uint64_t* length) {
    // Sample bits below 8 do not occur in camera clips, and a sample of no bytes cannot be
    // interleaved: such a clip is refused rather than guessed at.
    if (channels < 1 || channels > FrameElementLayout::kSoundElements || bits < 8) return E_FAIL;
    const uint64_t planeSize = layout.soundSize[0];
    for (uint32_t c = 0; c < channels; ++c) {
        if (layout.soundSize[c] != planeSize) return E_FAIL;
        if (layout.soundOffset[c] > bufferSize || planeSize > bufferSize - layout.soundOffset[c])
            return E_FAIL;
    }
    const uint64_t bytes = bits / 8;
    *length = planeSize / bytes * bytes * channels;  // planes lie in the buffer: no overflow
    return S_OK;
}

void Interleave(const uint8_t* buffer, const FrameElementLayout& layout, uint32_t channels,
                uint32_t bits, uint8_t* out) {
    const uint64_t bytes = bits / 8;
    const uint64_t frameBytes = bytes * channels;
    for (uint32_t c = 0; c < channels; ++c) {
        const uint8_t* plane = buffer + layout.soundOffset[c];
        const uint64_t count = layout.soundSize[c] / bytes;
        for (uint64_t i = 0; i < count; ++i)
            std::memcpy(out + c * bytes + i * frameBytes, plane + i * bytes, bytes);
    }
}

}  // namespace audio_planes

namespace aac_timing {

namespace {

// 10,000,000 media-time units a second times 8 bits a byte.
constexpr uint64_t kUnitsTimesBits = 80000000;

int64_t Clamp(unsigned __int128 value) {
    return value > static_cast<unsigned __int128>(INT64_MAX) ? INT64_MAX
                                                             : static_cast<int64_t>(value);
}

// ((bytes x 80,000,000) / channels / bits) / rate, truncating at each step.
unsigned __int128 Duration(unsigned __int128 bytes, uint32_t channels, uint32_t bits,
                           uint32_t rate) {
    return bytes * kUnitsTimesBits / channels / bits / rate;
}

}  // namespace

PacketTimes Stamp(int32_t& packetBytes, uint64_t size, int64_t n, bool lastSent, uint32_t channels,
                  uint32_t bits, uint32_t rate) {
    if (!lastSent)
        packetBytes =
            size > static_cast<uint64_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(size);
    PacketTimes times;
    if (channels == 0 || bits == 0 || rate == 0 || packetBytes < 0 || n < 0) return times;
    const unsigned __int128 start =
        Duration(static_cast<unsigned __int128>(packetBytes) * static_cast<uint64_t>(n), channels,
                 bits, rate);
    const unsigned __int128 stop = Duration(size, channels, bits, rate) + start;
    times.start = Clamp(start);
    times.stop = Clamp(stop);
    return times;
}

int64_t StartPacket(int64_t startFrame, frame_time::Rate rate, uint32_t packetDuration,
                    uint32_t timeScale, uint64_t packetCount) {
    int64_t packet = 0;
    if (packetDuration != 0 && timeScale != 0 && frame_time::IsValid(rate) && startFrame > 0) {
        // startFrame x (den / num) seconds, over packetDuration / timeScale seconds a packet.
        const unsigned __int128 time =
            static_cast<unsigned __int128>(startFrame) * rate.second * timeScale;
        packet = Clamp(time / (static_cast<unsigned __int128>(rate.first) * packetDuration));
    }
    const int64_t count = packetCount > static_cast<uint64_t>(INT64_MAX)
                              ? INT64_MAX
                              : static_cast<int64_t>(packetCount);
    if (count <= packet) packet = count - 1;
    return packet;
}

}  // namespace aac_timing

namespace {

constexpr uint32_t kAudioBuffers = 30;
constexpr uint32_t kMXFAudioBufferSize = 32768;
constexpr uint32_t kMP4AudioBufferSize = 576000;

// Position rules shared by both audio pins.
HRESULT AudioMediaType(int iPosition, CMediaType* type, StreamManager* clip) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!type) return E_UNEXPECTED;
    return audio_format::Build(clip, type);
}

}  // namespace

MXFAudioOutputPin::MXFAudioOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared)
    : MXFParserOutputPin("MXF audio pin", phr, filter, L"Audio_", shared, kElementSound,
                         kAudioBuffers, kMXFAudioBufferSize) {}

HRESULT MXFAudioOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    return AudioMediaType(iPosition, pMediaType, m_pStreamManager);
}

HRESULT MXFAudioOutputPin::CheckMediaType(const CMediaType* pmt) {
    return audio_format::Check(pmt);
}

HRESULT MXFAudioOutputPin::FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                                          const FrameElementLayout& layout, int64_t, bool* skip) {
    *skip = false;
    if (!sample || !buffer) return E_FAIL;
    const uint32_t channels = m_pStreamManager ? m_pStreamManager->GetAudioChannels() : 2;
    const uint32_t bits = m_pStreamManager ? m_pStreamManager->GetAudioBitDepth() : 16;
    uint8_t* data = nullptr;
    HRESULT hr = sample->GetPointer(&data);
    if (FAILED(hr)) return hr;
    uint64_t length = 0;
    hr = audio_planes::InterleavedLength(layout, kParserReadBufferSize, channels, bits, &length);
    if (FAILED(hr)) return hr;
    if (length > static_cast<uint64_t>(INT32_MAX)) return E_FAIL;
    hr = sample->SetActualDataLength(static_cast<int32_t>(length));
    if (FAILED(hr)) return hr;
    audio_planes::Interleave(buffer, layout, channels, bits, data);
    return S_OK;
}

MP4AudioOutputPin::MP4AudioOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared)
    : MP4ParserOutputPin("MP4 audio pin", phr, filter, L"Audio_", shared, kElementSound,
                         kAudioBuffers, kMP4AudioBufferSize) {}

HRESULT MP4AudioOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    return AudioMediaType(iPosition, pMediaType, m_pStreamManager);
}

HRESULT MP4AudioOutputPin::CheckMediaType(const CMediaType* pmt) {
    return audio_format::Check(pmt);
}

int64_t MP4AudioOutputPin::TotalFrames() {
    if (m_pStreamManager && m_pStreamManager->IsAACAudio()) {
        const uint64_t count = m_pStreamManager->GetAudioSampleCount();
        return count > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<int64_t>(count);
    }
    return MP4ParserOutputPin::TotalFrames();
}

HRESULT MP4AudioOutputPin::FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                                          const FrameElementLayout& layout, int64_t, bool* skip) {
    *skip = false;
    return CopyElement(sample, buffer, layout.soundOffset[0], layout.soundSize[0]);
}

void MP4AudioOutputPin::SetAudioPacketTiming(uint32_t packetDuration, uint32_t timeScale) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    m_nPacketDuration = packetDuration;
    m_nTimeScale = timeScale;
}

HRESULT MP4AudioOutputPin::OnThreadStartPlay() {
    REFERENCE_TIME start = 0, stop = 0;
    {
        std::lock_guard<CURecursiveLock> guard(*m_pShared);
        if (!IsAAC()) return MP4ParserOutputPin::OnThreadStartPlay();
        m_nFramesSent = 0;
        m_nStartFrame =
            aac_timing::StartPacket(m_nStart, FrameRate(), m_nPacketDuration, m_nTimeScale,
                                    m_pStreamManager->GetAudioSampleCount());
        m_bDiscontinuity = 1;
        m_bLastFrameSent = 0;
        start = TimeOf(m_nStart);
        stop = TimeOf(m_nStop);
    }
    return DeliverNewSegment(start, stop, 1.0);
}

void MP4AudioOutputPin::StampTimes(IMediaSample* sample, const FrameElementLayout& layout) {
    if (!IsAAC()) {
        MP4ParserOutputPin::StampTimes(sample, layout);
        return;
    }
    aac_timing::PacketTimes times = aac_timing::Stamp(
        m_cbAudioPacket, layout.soundSize[0], m_nFramesSent, m_bLastFrameSent != 0,
        m_pStreamManager->GetAudioChannels(), m_pStreamManager->GetAudioBitDepth(),
        m_pStreamManager->GetAudioSampleRate());
    sample->SetTime(&times.start, &times.stop);
}

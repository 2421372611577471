#include "tools/qvclip/SoundSink.h"

#include <cstring>

#include "filters/WaveFormat.h"
#include "tools/qvclip/ClipSession.h"

namespace qvclip {

SoundSink::SoundSink(bool realtime, std::string wavPath, SideMute mute, HRESULT* phr)
    : CBaseRenderer(GUID_NULL, "qvclip sound sink", nullptr, phr),
      realtime(realtime),
      wavPath(std::move(wavPath)),
      mute(mute) {}

SoundSink::~SoundSink() = default;

HRESULT SoundSink::CheckMediaType(const CMediaType* pmt) {
    wave_format::WaveFormat format;
    if (!pmt || !wave_format::IsPCMAudio(*pmt) || !wave_format::Read(*pmt, &format))
        return E_FAIL;
    return format.channels == 2 && (format.bitsPerSample == 16 || format.bitsPerSample == 24) &&
                   format.samplesPerSec > 0
               ? S_OK
               : E_FAIL;
}

HRESULT SoundSink::SetSyncSource(IReferenceClock* clock) {
    return CBaseRenderer::SetSyncSource(realtime ? clock : nullptr);
}

bool SoundSink::Open() {
    opened = true;
    wave_format::WaveFormat format;
    if (!wave_format::Read(m_pInputPin->CurrentMediaType(), &format)) {
        failure = "the sound's format could not be read";
        return false;
    }
    sampleBytes = format.bitsPerSample / 8u;
    frameBytes = sampleBytes * format.channels;
    bytesPerSecond = frameBytes * format.samplesPerSec;
    if (wavPath.empty()) return true;
    try {
        wav = std::make_unique<WavWriter>(wavPath, format.channels, format.samplesPerSec,
                                          format.bitsPerSample);
    } catch (const ClipError& error) {
        failure = error.what();
        return false;
    }
    return true;
}

HRESULT SoundSink::DoRenderSample(IMediaSample* sample) {
    if (!opened) Open();
    uint8_t* data = nullptr;
    const long length = sample->GetActualDataLength();
    if (FAILED(sample->GetPointer(&data)) || !data || length <= 0 || frameBytes == 0) return S_OK;
    if (mute.left || mute.right) {
        // The buffer is ours until Receive returns; a muted side becomes digital silence.
        for (long f = 0; f + long(frameBytes) <= length; f += frameBytes) {
            if (mute.left) std::memset(data + f, 0, sampleBytes);
            if (mute.right) std::memset(data + f + sampleBytes, 0, sampleBytes);
        }
    }
    bytes += static_cast<uint64_t>(length);
    if (wav && !wav->Append(data, static_cast<size_t>(length)) && failure.empty())
        failure = wavPath + ": the sound could not be written";
    return S_OK;
}

double SoundSink::Seconds() const {
    return bytesPerSecond ? double(bytes.load()) / bytesPerSecond : 0;
}

std::string SoundSink::Close() {
    if (wav && !wav->Close() && failure.empty()) failure = wavPath + ": the file was not completed";
    return failure;
}

}  // namespace qvclip

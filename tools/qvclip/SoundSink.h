// SoundSink: the renderer at the end of `qvclip play`'s sound path. It takes the stereo PCM of
// the fold-down and writes it to the WAV file when one is asked for, counting what it took; it
// stands for the sound device, against the graph's clock with --realtime, else as fast as sound
// comes. `mute` silences a side here, for sound that does not pass the mixer (whose gate takes
// 16-bit stereo only): 24-bit sound keeps its bits that way.
// Threads: the hooks run on the upstream streaming thread; Seconds and Failure are read by the
// host after the graph stopped. Failures: a WAV file that cannot be written is reported by
// Failure(); the sound goes on being taken.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/BaseRenderer.h"
#include "tools/qvclip/WavWriter.h"

namespace qvclip {

struct SideMute {
    bool left = false;
    bool right = false;
};

class SoundSink : public CBaseRenderer {
public:
    // `wavPath` empty: no file.
    SoundSink(bool realtime, std::string wavPath, SideMute mute, HRESULT* phr);
    ~SoundSink() override;

    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT SetSyncSource(IReferenceClock* clock) override;
    HRESULT DoRenderSample(IMediaSample* sample) override;

    // Seconds of sound taken; the WAV's own figure when writing.
    double Seconds() const;
    // Finishes the WAV file; the failure text, empty when all went well.
    std::string Close();

private:
    bool Open();  // streaming thread: the writer, from the connected format

    const bool realtime;
    const std::string wavPath;
    const SideMute mute;
    std::unique_ptr<WavWriter> wav;  // streaming thread, then the host after the stop
    uint32_t frameBytes = 0;         // of one stereo frame; streaming thread
    uint32_t sampleBytes = 0;
    uint32_t bytesPerSecond = 0;
    bool opened = false;
    std::string failure;
    std::atomic<uint64_t> bytes{0};
};

}  // namespace qvclip

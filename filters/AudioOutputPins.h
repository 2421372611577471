// The parsers' audio pins ("Audio_"): interleaved linear PCM, one sample per video frame. They use
// the parser pin base with three differences: their own media type (a 40-byte extensible wave
// format: channels, rate and bits from the clip, or 2 x 16 bit x 48 kHz without one), no frame
// jumps (sound keeps its own position when the picture jumps), and no preroll.
//
// MXFAudioOutputPin interleaves the clip's channel planes (one plane per channel, 1 to 4 planes of
// equal size). MP4AudioOutputPin copies the first sound element, which the reader interleaved
// already; its AAC timing arrives with the MP4 clip readers.
// Threads: as CParserOutputPin. Failures: FillSampleData answers E_FAIL for planes of unequal
// size, a channel count outside 1 to 4, or an element outside the read buffer, and the sample's
// failure when the data does not fit it (the stream then aborts).
#pragma once

#include "filters/MP4ParserOutputPin.h"
#include "filters/MXFParserOutputPin.h"

namespace audio_format {

inline constexpr uint32_t kFormatBlockSize = 40;
inline constexpr uint16_t kWaveFormatExtensible = 65534;

// The pin's media type from the clip (or the defaults when `clip` is null).
HRESULT Build(StreamManager* clip, CMediaType* type);
HRESULT Check(const CMediaType* type);

}  // namespace audio_format

class MXFAudioOutputPin : public MXFParserOutputPin {
public:
    MXFAudioOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared);

    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;

protected:
    HRESULT FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                           const FrameElementLayout& layout, int64_t frame, bool* skip) override;
    bool FollowsJumps() const override { return false; }
};

class MP4AudioOutputPin : public MP4ParserOutputPin {
public:
    MP4AudioOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared);

    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;

protected:
    HRESULT FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                           const FrameElementLayout& layout, int64_t frame, bool* skip) override;
    bool FollowsJumps() const override { return false; }
    int64_t TotalFrames() override;
};

// The parsers' audio pins ("Audio_"): interleaved linear PCM, one sample per video frame or, for
// AAC sound in MP4 clips, one sample per AAC packet. They use the parser pin base with three
// differences: their own media type (a 40-byte extensible wave format: channels, rate and bits
// from the clip, or 2 x 16 bit x 48 kHz without one), no frame jumps (sound keeps its own position
// when the picture jumps), and no preroll (only video pins load a preroll count), so every sample
// is timed.
//
// MXFAudioOutputPin interleaves the clip's channel planes (one plane per channel, 1 to 4 planes of
// equal size) in units of bits / 8 bytes; a plane's tail shorter than one unit is left out, so a
// sample always holds whole sample frames. MP4AudioOutputPin copies the first sound element, which
// the reader interleaved already. With AAC sound it counts packets instead of frames: a run starts
// at the packet that holds the seek position, and packet n is stamped from the decoded size of the
// packets (m_cbAudioPacket; the short last packet keeps the size of the one before it).
// Threads: as CParserOutputPin; SetAudioPacketTiming is for Load, before the graph runs.
// Failures: FillSampleData answers E_FAIL for planes of unequal size, a channel count outside 1 to
// 4, sample bits below 8, or an element outside the read buffer, and the sample's failure when the
// data does not fit it (the stream then aborts).
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

namespace audio_planes {

// Checks one frame's planes for `channels` channels of `bits` bits and gives the interleaved
// length: E_FAIL for channels outside 1 to 4, bits below 8, planes of unequal size, or a plane
// outside the `bufferSize` bytes of the read buffer.
HRESULT InterleavedLength(const FrameElementLayout& layout, uint64_t bufferSize, uint32_t channels,
                          uint32_t bits, uint64_t* length);
// Writes the planes of `buffer` into `out` (InterleavedLength bytes), sample by sample.
void Interleave(const uint8_t* buffer, const FrameElementLayout& layout, uint32_t channels,
                uint32_t bits, uint8_t* out);

}  // namespace audio_planes

namespace aac_timing {

struct PacketTimes {
    REFERENCE_TIME start = 0, stop = 0;
};

// Times of AAC packet `n` (counted from the start of the run) of `size` decoded bytes. Unless the
// clip's last packet went out already (`lastSent`), `packetBytes` becomes `size` first: the short
// last packet is timed by the size of the packets before it. start = packetBytes x n x 8 s /
// (channels x bits x rate), stop = start + the same for `size`, in 100-ns units, each division
// truncating in turn. Zero channels, bits or rate give 0 and 0. Saturates instead of overflowing.
PacketTimes Stamp(int32_t& packetBytes, uint64_t size, int64_t n, bool lastSent, uint32_t channels,
                  uint32_t bits, uint32_t rate);

// The packet that holds the seek position `startFrame` (a frame of the video rate `rate`) when a
// packet lasts `packetDuration` units of `timeScale`: floor(startFrame x den x timeScale / (num x
// packetDuration)), in exact integers, so a position on a packet boundary starts that packet.
// Limited to `packetCount` - 1 (-1 for no packets). Without the figures (a zero among them) the
// run starts at packet 0.
int64_t StartPacket(int64_t startFrame, frame_time::Rate rate, uint32_t packetDuration,
                    uint32_t timeScale, uint64_t packetCount);

}  // namespace aac_timing

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

    // The audio track's packet duration in units of its time scale, as the MP4 wrapper caches
    // them; given by Load. Both 0 until then (a seek then starts the sound at its first packet).
    void SetAudioPacketTiming(uint32_t packetDuration, uint32_t timeScale);

    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;

protected:
    HRESULT FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                           const FrameElementLayout& layout, int64_t frame, bool* skip) override;
    bool FollowsJumps() const override { return false; }
    int64_t TotalFrames() override;
    HRESULT OnThreadStartPlay() override;
    void StampTimes(IMediaSample* sample, const FrameElementLayout& layout) override;

private:
    bool IsAAC() { return m_pStreamManager && m_pStreamManager->IsAACAudio(); }

    int32_t m_cbAudioPacket = 0;     // under m_pShared
    uint32_t m_nPacketDuration = 0;  // under m_pShared
    uint32_t m_nTimeScale = 0;       // under m_pShared
};

// CSoundSplitterFilter: behind a parser's audio pin, it folds interleaved PCM of any number of
// channels down to one stereo stream by a role the host gives each channel (0 none, 1 left,
// 2 right, 3 both, any other none), and it measures the peak of every channel, sending the levels
// in hundredths of a decibel down a second pin to an audio-level renderer (filters/SoundSplit.h
// holds the arithmetic). Rows 3 (MXF) and 11 (MP4) of the class table differ only in the level
// pin's major type.
//
// Pins: 0 "Audio In"; once the input has connected, 1 "Audio Out 1" and 2 "Audio Level Out". Pins
// stay when the input disconnects, and a later connection keeps them (and their connections).
// The host connects the input, then both other pins (samples fail with E_FAIL otherwise), reads
// GetChannelCount and sets each channel's role; every check of an input type with a format block
// (also a format change carried by a sample) takes the format over and puts every role back to
// 0, so the sound is silent until the host sets roles.
// Input widths: 16 and 24 bits only, 1 to kMaxChannels channels; any other format is refused at
// the input's type check with VFW_E_TYPE_NOT_ACCEPTED, so a bad format fails at connection.
// Each sample: with no sound output device (platform/SoundDevices.h) it is dropped with S_OK and
// the graph hears EC_ERRORABORT with AUDCLNT_E_DEVICE_INVALIDATED. Otherwise one sound sample
// (the input's times and flags) and one level sample (the input's times, 2 bytes a channel) are
// filled and handed to the pins' queues; one that cannot be filled is skipped with S_OK and the
// next buffer request says so.
// Threads: Receive, EndOfStream and NewSegment on the upstream streaming thread, under the receive
// lock; each output pin delivers on its own queue thread. Stop, Pause, connections and flushes
// take the filter lock (shared by all pins) before the receive lock; Stop and EndFlush take both,
// so they return once the sample in progress is through, and Stop first makes a Receive waiting
// for a buffer give up. m_csProcess guards the format and the roles and is held across the
// split only, never across a buffer wait or a delivery; SetChannelRole takes it, so roles change
// between samples. GetChannelCount takes no lock.
// Ownership: the filter owns its pins; the pins count their references on it.
// Failures: E_FAIL for a sample while an output is unconnected; E_UNEXPECTED while processing
// with the input unconnected; E_POINTER when the level pin has no allocator; the failure of a
// sound buffer request; E_OUTOFMEMORY when the pins or the roles cannot be made.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "filters/FilterIds.h"
#include "foundation/CURecursiveLock.h"
#include "platform/BaseFilter.h"
#include "platform/MediaSample.h"

class CAudioLevelOutputPin;
class CQueuedOutputPin;
class CSoundSplitterInputPin;
class CSoundSplitterOutputPin;

class IMSFSoundSplitterFilter : public IUnknown {
public:
    // 0 before the input's format is known.
    virtual uint32_t GetChannelCount() = 0;
    // Ignored for an index outside 0 .. GetChannelCount() - 1.
    virtual void SetChannelRole(int32_t index, uint32_t role) = 0;
};

class CSoundSplitterFilter : public CBaseFilter, public IMSFSoundSplitterFilter {
public:
    CSoundSplitterFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid, bool mp4Flavour);
    ~CSoundSplitterFilter() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    uint32_t GetChannelCount() override { return m_nChannels.load(); }
    void SetChannelRole(int32_t index, uint32_t role) override;

    int GetPinCount() override;
    CBasePin* GetPin(int n) override;
    HRESULT Stop() override;

    // A level sample holds 2 bytes a channel in a buffer of CAudioLevelOutputPin::kBufferSize.
    static constexpr uint32_t kMaxChannels = 256;

    // For the pins.
    // The input format, from the input's type check: under m_csProcess, all roles go to 0. (The
    // rate is not needed: the sound output's type reads it from the input's connection.)
    HRESULT TakeFormat(uint32_t channels, uint32_t bitsPerSample);
    // On the input's connection; the pins made before stay.
    HRESULT CreateOutputPins();
    // The output pins in delivery order, sound first; null where a pin is not made yet.
    CQueuedOutputPin* OutputPin(int i) const;
    static constexpr int kOutputPins = 2;
    bool OutputsConnected() const;
    // One sample, on the streaming thread under the receive lock; `props` are the input's.
    HRESULT Process(IMediaSample* pSample, const AM_SAMPLE2_PROPERTIES& props);
    CSoundSplitterInputPin* InputPin() const { return m_pInputPin; }
    CURecursiveLock* ReceiveLock() { return &m_csReceive; }
    bool Mp4Flavour() const { return m_bMp4Flavour; }

private:
    HRESULT InitializeOutputSample(const AM_SAMPLE2_PROPERTIES& props, IMediaSample* pSample,
                                   IMediaSample** ppOut);
    HRESULT SplitAndMeasure(IMediaSample* pIn, IMediaSample* pOut, IMediaSample* pLevel);

    CURecursiveLock m_csFilter;   // the filter lock, shared with the pins
    CURecursiveLock m_csReceive;  // serialises samples with Stop, EndFlush and queue changes
    std::mutex m_csProcess;       // the format and the roles

    const bool m_bMp4Flavour;
    bool m_bSampleSkipped = false;  // guarded by m_csReceive

    std::atomic<uint32_t> m_nChannels{0};                  // written under m_csProcess
    uint32_t m_nBitsPerSample = 0;                         // guarded by m_csProcess
    std::unique_ptr<uint32_t[]> m_pChannelRoles;           // guarded by m_csProcess
    CSoundSplitterInputPin* m_pInputPin = nullptr;         // owned; made in the constructor
    std::atomic<CSoundSplitterOutputPin*> m_pOutputPin{};  // owned; set once under m_csFilter
    std::atomic<CAudioLevelOutputPin*> m_pLevelPin{};      // owned; set once under m_csFilter
};

// CSoundMixerFilter: a two-way channel gate on 16-bit stereo PCM in the host's sound path. In
// spite of its name it sums nothing: the host switches the left and the right channel on or off
// while the graph runs, and a channel that is off comes out as digital silence in its place.
// Everything else of a sample passes unchanged: its length, times and flags.
//
// Pins "Audio In" and "Audio Out", the plain transform pins. Input: audio, PCM, a wave format
// (the block is not looked at: every 4 bytes are one frame). Output: always 48 kHz stereo 16-bit.
// The output pool: 1 buffer as large as the input's, so an output sample holds any input sample.
// Receive: with no sound output device (platform/SoundDevices.h), the sample is dropped with S_OK
// and the graph hears EC_ERRORABORT with AUDCLNT_E_DEVICE_INVALIDATED, at every sample; a sample
// of another stream than media goes downstream as it is; any other takes the transform filter's
// path (preroll dropped, Transform, S_FALSE skips with EC_QUALITY_CHANGE once).
// A channel passes only when its word is exactly 1; both are 1 at construction.
// Threads: SetChannelEnable and GetChannelEnable on any thread at any time; Transform runs on the
// upstream streaming thread and holds m_csChannels across the copy, so a sample never shows two
// settings. Ownership: as CTransformFilter.
// Failures: SetChannelEnable/GetChannelEnable answer E_INVALIDARG for an index other than 0 and
// 1, E_POINTER for a null out value; the type checks VFW_E_TYPE_NOT_ACCEPTED; DecideBufferSize
// E_POINTER, E_UNEXPECTED (input not connected) or the allocators' failures; Transform S_FALSE
// (skip) for a sample it cannot work on.
#pragma once

#include <cstdint>
#include <mutex>

#include "filters/FilterIds.h"
#include "platform/TransformFilter.h"

class IMSFSoundMixerFilter : public IUnknown {
public:
    // index 0 left, 1 right; a value of 1 lets the channel pass, any other silences it.
    virtual HRESULT SetChannelEnable(uint32_t index, uint32_t value) = 0;
    // The value stored, unchanged.
    virtual HRESULT GetChannelEnable(uint32_t index, uint32_t* value) = 0;
};

class CSoundMixerFilter : public CTransformFilter, public IMSFSoundMixerFilter {
public:
    CSoundMixerFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT SetChannelEnable(uint32_t index, uint32_t value) override;
    HRESULT GetChannelEnable(uint32_t index, uint32_t* value) override;

    // The pins carry this filter's names.

    HRESULT Transform(IMediaSample* pIn, IMediaSample* pOut) override;
    HRESULT CheckInputType(const CMediaType* mtIn) override;
    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override;
    HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT Receive(IMediaSample* pSample) override;

    static constexpr uint32_t kChannelOn = 1;
    static constexpr uint32_t kChannels = 2;
    // The offered output type.
    static constexpr uint32_t kOutputRate = 48000;
    static constexpr uint16_t kOutputBits = 16;

private:
    std::mutex m_csChannels;
    uint32_t m_bChannelEnable[kChannels] = {kChannelOn, kChannelOn};  // guarded by m_csChannels
};

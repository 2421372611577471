// CAudioLevelOutputPin: the splitter's level output, "Audio Level Out": one sample of channel
// levels (signed 16-bit little-endian, hundredths of a decibel, channel 0 first) for each sound
// sample, in a pool of 30 buffers of 512 bytes, delivered through its own queue.
//
// Type: the private audio-level type of the filter's flavour (MXF, or MP4 for row 11) with the
// private stream subtype, fixed-size samples of size 1, FORMAT_None with a 4-byte block holding 1;
// a type is accepted on major type and subtype alone. Threads and ownership: see
// CQueuedOutputPin. Failures: E_FAIL for another type; GetMediaType E_INVALIDARG when the block
// cannot be allocated; DecideBufferSize E_POINTER for null arguments, E_UNEXPECTED while the
// input is not connected, else the pool's answer.
#pragma once

#include "filters/QueuedOutputPin.h"

class CAudioLevelOutputPin : public CQueuedOutputPin {
public:
    CAudioLevelOutputPin(CSoundSplitterFilter* filter, CURecursiveLock* lock, HRESULT* phr,
                         bool mp4Flavour);

    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps) override;

    static constexpr int32_t kBuffers = 30;
    static constexpr int32_t kBufferSize = 512;

private:
    const bool m_bMp4Flavour;
};

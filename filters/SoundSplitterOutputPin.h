// CSoundSplitterOutputPin: the splitter's sound output, "Audio Out <n>": stereo PCM of the input's
// width and rate, in a pool of 3 buffers of 576000 bytes, delivered through its own queue.
//
// Offered type: audio, PCM, fixed-size samples of size 1, an 18-byte wave format with 2 channels
// and the input's rate and bits (from the input's connection type). Accepted: audio, PCM, a wave
// format. Threads and ownership: see CQueuedOutputPin. Failures: VFW_E_TYPE_NOT_ACCEPTED for other
// types; GetMediaType E_INVALIDARG when the input has no readable format or the block cannot be
// allocated; DecideBufferSize E_POINTER for null arguments, E_UNEXPECTED while the input is not
// connected, else the pool's answer.
#pragma once

#include "filters/QueuedOutputPin.h"

class CSoundSplitterOutputPin : public CQueuedOutputPin {
public:
    CSoundSplitterOutputPin(CSoundSplitterFilter* filter, CURecursiveLock* lock, HRESULT* phr,
                            int number);

    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps) override;

    static constexpr int32_t kBuffers = 3;
    static constexpr int32_t kBufferSize = 576000;
};

// CSoundSplitterInputPin: the splitter's input, "Audio In": interleaved PCM from a parser's audio
// pin (its 40-byte extensible wave format, or any wave format of at least 16 bytes).
//
// CheckMediaType accepts audio, PCM, FORMAT_WaveFormatEx. A type without a format block changes
// nothing; one with a block must state 1 to kMaxChannels channels of 16 or 24 bits, and then the
// filter takes the format over and every channel's role goes back to 0. Receive stores the
// sample's properties, checks a format change the sample carries (as CheckMediaType, so roles go
// back to 0 there too), requires both outputs to be connected and hands the sample to the
// filter. End of stream, flushes and new segments go to the sound pin, then the level pin.
// Threads: Receive, EndOfStream and NewSegment on the upstream streaming thread under the filter's
// receive lock; BeginFlush under the filter lock; EndFlush under both. The stored properties are
// the streaming thread's. Ownership: owned by the filter.
// Failures: E_POINTER for a null type; VFW_E_TYPE_NOT_ACCEPTED for a type refused;
// E_OUTOFMEMORY when the roles cannot be made; Receive answers the base pin's refusals
// (VFW_E_WRONG_STATE stopped, S_FALSE flushing), VFW_E_INVALIDMEDIATYPE for a refused format
// change, E_FAIL while an output is unconnected, else the filter's answer.
#pragma once

#include "platform/BaseInputPin.h"
#include "platform/MediaSample.h"

class CSoundSplitterFilter;

class CSoundSplitterInputPin : public CBaseInputPin {
public:
    CSoundSplitterInputPin(CSoundSplitterFilter* filter, CURecursiveLock* lock, HRESULT* phr);

    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;
    HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

private:
    // Fills m_SampleProps from the sample.
    void StoreProperties(IMediaSample* pSample);

    CSoundSplitterFilter* const m_pSplitter;  // owns the pin
    AM_SAMPLE2_PROPERTIES m_SampleProps;      // streaming thread, under the receive lock
};

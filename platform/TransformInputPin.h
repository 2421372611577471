// CTransformInputPin: the input pin of a CTransformFilter ("XForm In").
//
// It accepts the types the filter's CheckInputType takes and, once the output is connected, only
// those the filter can still turn into the output's type. Receive, EndOfStream and NewSegment
// take the filter's receive lock, check the state (stopped: VFW_E_WRONG_STATE, flushing:
// S_FALSE, as CBaseInputPin) and hand over to the filter, which passes them downstream.
// BeginFlush and EndFlush take the filter lock and pass the flush through the filter too.
// Threads: see CTransformFilter. Ownership: owned by the filter; its references are the
// filter's. Failures: VFW_E_NOT_CONNECTED from the flush and stream calls without a connection;
// the filter's results otherwise.
#pragma once

#include "platform/BaseInputPin.h"

class CTransformFilter;

class CTransformInputPin : public CBaseInputPin {
public:
    CTransformInputPin(const char* objectName, CTransformFilter* filter, HRESULT* phr,
                       const wchar_t* name);

    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT SetMediaType(const CMediaType* pmt) override;

    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;
    HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

private:
    // S_OK when samples and stream events may pass; under the receive lock.
    HRESULT CheckStreaming();

    CTransformFilter* const m_pTransformFilter;  // owns the pin
};

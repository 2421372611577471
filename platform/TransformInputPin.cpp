#include "platform/TransformInputPin.h"

#include "foundation/CUAutoLock.h"
#include "platform/TransformFilter.h"
#include "platform/TransformOutputPin.h"

CTransformInputPin::CTransformInputPin(const char* objectName, CTransformFilter* filter,
                                       HRESULT* phr, const wchar_t* name)
    : CBaseInputPin(objectName, filter, filter ? &filter->m_csFilter : nullptr, phr, name),
      m_pTransformFilter(filter) {}

HRESULT CTransformInputPin::CheckConnect(IPin* pPin) {
    const HRESULT hr = m_pTransformFilter->CheckConnect(PINDIR_INPUT, pPin);
    if (FAILED(hr)) return hr;
    return CBaseInputPin::CheckConnect(pPin);
}

HRESULT CTransformInputPin::BreakConnect() {
    m_pTransformFilter->BreakConnect(PINDIR_INPUT);
    return CBaseInputPin::BreakConnect();
}

HRESULT CTransformInputPin::CompleteConnect(IPin* pReceivePin) {
    const HRESULT hr = m_pTransformFilter->CompleteConnect(PINDIR_INPUT, pReceivePin);
    if (FAILED(hr)) return hr;
    return CBaseInputPin::CompleteConnect(pReceivePin);
}

HRESULT CTransformInputPin::CheckMediaType(const CMediaType* pmt) {
    const HRESULT hr = m_pTransformFilter->CheckInputType(pmt);
    if (hr != S_OK) return hr;
    CTransformOutputPin* output = m_pTransformFilter->m_pOutput;
    if (output && output->IsConnected())
        return m_pTransformFilter->CheckTransform(pmt, &output->CurrentMediaType());
    return S_OK;
}

HRESULT CTransformInputPin::SetMediaType(const CMediaType* pmt) {
    const HRESULT hr = CBaseInputPin::SetMediaType(pmt);
    if (FAILED(hr)) return hr;
    return m_pTransformFilter->SetMediaType(PINDIR_INPUT, pmt);
}

HRESULT CTransformInputPin::CheckStreaming() {
    if (!IsConnected() || !m_pTransformFilter->m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    if (IsStopped()) return VFW_E_WRONG_STATE;
    if (IsFlushing()) return S_FALSE;
    return S_OK;
}

HRESULT CTransformInputPin::Receive(IMediaSample* pSample) {
    CUAutoLock receive(&m_pTransformFilter->m_csReceive);
    HRESULT hr = CBaseInputPin::Receive(pSample);
    if (hr != S_OK) return hr;
    hr = CheckStreaming();
    if (hr != S_OK) return hr;
    return m_pTransformFilter->Receive(pSample);
}

HRESULT CTransformInputPin::EndOfStream() {
    CUAutoLock receive(&m_pTransformFilter->m_csReceive);
    const HRESULT hr = CheckStreaming();
    if (hr != S_OK) return hr;
    return m_pTransformFilter->EndOfStream();
}

HRESULT CTransformInputPin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    CUAutoLock receive(&m_pTransformFilter->m_csReceive);
    CBasePin::NewSegment(tStart, tStop, dRate);
    if (!m_pTransformFilter->m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    return m_pTransformFilter->NewSegment(tStart, tStop, dRate);
}

HRESULT CTransformInputPin::BeginFlush() {
    CUAutoLock lock(m_pLock);
    if (!IsConnected() || !m_pTransformFilter->m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    CBaseInputPin::BeginFlush();
    return m_pTransformFilter->BeginFlush();
}

HRESULT CTransformInputPin::EndFlush() {
    CUAutoLock lock(m_pLock);
    if (!IsConnected() || !m_pTransformFilter->m_pOutput->IsConnected()) return VFW_E_NOT_CONNECTED;
    // A Receive still inside the filter ends (downstream refuses it) before the flush does.
    CUAutoLock receive(&m_pTransformFilter->m_csReceive);
    const HRESULT hr = m_pTransformFilter->EndFlush();
    CBaseInputPin::EndFlush();
    return hr;
}

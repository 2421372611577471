#include "platform/TransformOutputPin.h"

#include "platform/TransformFilter.h"
#include "platform/TransformInputPin.h"

CTransformOutputPin::CTransformOutputPin(const char* objectName, CTransformFilter* filter,
                                         HRESULT* phr, const wchar_t* name)
    : CBaseOutputPin(objectName, filter, filter ? &filter->m_csFilter : nullptr, phr, name),
      m_pTransformFilter(filter) {}

HRESULT CTransformOutputPin::CheckConnect(IPin* pPin) {
    CTransformInputPin* input = m_pTransformFilter->m_pInput;
    if (!input || !input->IsConnected()) return E_UNEXPECTED;
    const HRESULT hr = m_pTransformFilter->CheckConnect(PINDIR_OUTPUT, pPin);
    if (FAILED(hr)) return hr;
    return CBaseOutputPin::CheckConnect(pPin);
}

HRESULT CTransformOutputPin::BreakConnect() {
    m_pTransformFilter->BreakConnect(PINDIR_OUTPUT);
    return CBaseOutputPin::BreakConnect();
}

HRESULT CTransformOutputPin::CompleteConnect(IPin* pReceivePin) {
    const HRESULT hr = m_pTransformFilter->CompleteConnect(PINDIR_OUTPUT, pReceivePin);
    if (FAILED(hr)) return hr;
    return CBaseOutputPin::CompleteConnect(pReceivePin);
}

HRESULT CTransformOutputPin::CheckMediaType(const CMediaType* pmt) {
    CTransformInputPin* input = m_pTransformFilter->m_pInput;
    if (!input || !input->IsConnected()) return E_UNEXPECTED;
    return m_pTransformFilter->CheckTransform(&input->CurrentMediaType(), pmt);
}

HRESULT CTransformOutputPin::SetMediaType(const CMediaType* pmt) {
    const HRESULT hr = CBaseOutputPin::SetMediaType(pmt);
    if (FAILED(hr)) return hr;
    return m_pTransformFilter->SetMediaType(PINDIR_OUTPUT, pmt);
}

HRESULT CTransformOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    CTransformInputPin* input = m_pTransformFilter->m_pInput;
    if (!input || !input->IsConnected()) return E_UNEXPECTED;
    return m_pTransformFilter->GetMediaType(iPosition, pMediaType);
}

HRESULT CTransformOutputPin::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps) {
    return m_pTransformFilter->DecideBufferSize(pAlloc, pProps);
}

HRESULT CTransformOutputPin::Notify(IBaseFilter*, Quality q) {
    const HRESULT hr = m_pTransformFilter->AlterQuality(q);
    if (hr != S_FALSE) return hr;
    return m_pTransformFilter->m_pInput->PassNotify(q);
}

#include "platform/BaseOutputPin.h"

#include "foundation/CUAutoLock.h"

CBaseOutputPin::CBaseOutputPin(const char* objectName, CBaseFilter* filter, CURecursiveLock* lock,
                               HRESULT* phr, const wchar_t* pinName)
    : CBasePin(objectName, filter, lock, phr, pinName, PINDIR_OUTPUT) {}

CBaseOutputPin::~CBaseOutputPin() {
    CBaseOutputPin::BreakConnect();
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin) {
    HRESULT hr = CBasePin::CheckConnect(pPin);
    if (FAILED(hr)) return hr;
    if (m_pInputPin) {
        m_pInputPin->Release();
        m_pInputPin = nullptr;
    }
    hr = pPin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&m_pInputPin));
    return FAILED(hr) ? E_NOINTERFACE : S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
    if (!m_pInputPin) return E_NOINTERFACE;
    return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::BreakConnect() {
    if (m_pAllocator) {
        m_pAllocator->Decommit();
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    if (m_pInputPin) {
        m_pInputPin->Release();
        m_pInputPin = nullptr;
    }
    return S_OK;
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc) {
    if (!pPin || !ppAlloc) return E_POINTER;
    *ppAlloc = nullptr;
    ALLOCATOR_PROPERTIES props;
    if (FAILED(pPin->GetAllocatorRequirements(&props))) props = ALLOCATOR_PROPERTIES{};
    if (props.cbAlign == 0) props.cbAlign = 1;
    HRESULT hr = pPin->GetAllocator(ppAlloc);
    if (SUCCEEDED(hr)) {
        hr = DecideBufferSize(*ppAlloc, &props);
        if (SUCCEEDED(hr)) hr = pPin->NotifyAllocator(*ppAlloc, false);
        if (SUCCEEDED(hr)) return S_OK;
        (*ppAlloc)->Release();
        *ppAlloc = nullptr;
    }
    auto* own = new (std::nothrow) CMemAllocator("output pin allocator");
    if (!own) return E_OUTOFMEMORY;
    own->AddRef();
    hr = DecideBufferSize(own, &props);
    if (SUCCEEDED(hr)) hr = pPin->NotifyAllocator(own, false);
    if (FAILED(hr)) {
        own->Release();
        return hr;
    }
    *ppAlloc = own;
    return S_OK;
}

HRESULT CBaseOutputPin::Active() {
    if (!m_pAllocator) return VFW_E_NO_ALLOCATOR;
    return m_pAllocator->Commit();
}

HRESULT CBaseOutputPin::Inactive() {
    if (!m_pAllocator) return VFW_E_NO_ALLOCATOR;
    return m_pAllocator->Decommit();
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                          REFERENCE_TIME* pEndTime, uint32_t dwFlags) {
    if (!ppSample) return E_POINTER;
    if (!m_pAllocator) return E_NOINTERFACE;
    return m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample) {
    if (!m_pInputPin) return VFW_E_NOT_CONNECTED;
    return m_pInputPin->Receive(pSample);
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
    if (!m_Connected) return VFW_E_NOT_CONNECTED;
    return m_Connected->EndOfStream();
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
    if (!m_Connected) return VFW_E_NOT_CONNECTED;
    return m_Connected->BeginFlush();
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
    if (!m_Connected) return VFW_E_NOT_CONNECTED;
    return m_Connected->EndFlush();
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop,
                                          double dRate) {
    if (!m_Connected) return VFW_E_NOT_CONNECTED;
    return m_Connected->NewSegment(tStart, tStop, dRate);
}

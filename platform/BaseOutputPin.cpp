#include "platform/BaseOutputPin.h"

#include <utility>

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
    IMemInputPin* input = nullptr;
    hr = pPin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&input));
    {
        std::lock_guard<std::mutex> guard(m_csPeer);
        std::swap(input, m_pInputPin);
    }
    if (input) input->Release();
    return FAILED(hr) ? E_NOINTERFACE : S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
    if (!m_pInputPin) return E_NOINTERFACE;
    IMemAllocator* allocator = nullptr;
    const HRESULT hr = DecideAllocator(m_pInputPin, &allocator);
    {
        std::lock_guard<std::mutex> guard(m_csPeer);
        std::swap(allocator, m_pAllocator);
    }
    if (allocator) allocator->Release();
    return hr;
}

HRESULT CBaseOutputPin::BreakConnect() {
    IMemAllocator* allocator = nullptr;
    IMemInputPin* input = nullptr;
    {
        std::lock_guard<std::mutex> guard(m_csPeer);
        std::swap(allocator, m_pAllocator);
        std::swap(input, m_pInputPin);
    }
    if (allocator) {
        allocator->Decommit();  // a GetDeliveryBuffer waiting for a buffer comes back
        allocator->Release();
    }
    if (input) input->Release();
    return S_OK;
}

IMemAllocator* CBaseOutputPin::TakeAllocator() {
    std::lock_guard<std::mutex> guard(m_csPeer);
    if (m_pAllocator) m_pAllocator->AddRef();
    return m_pAllocator;
}

IMemInputPin* CBaseOutputPin::TakeInputPin() {
    std::lock_guard<std::mutex> guard(m_csPeer);
    if (m_pInputPin) m_pInputPin->AddRef();
    return m_pInputPin;
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
    IMemAllocator* allocator = TakeAllocator();
    if (!allocator) return E_NOINTERFACE;
    const HRESULT hr = allocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags);
    allocator->Release();
    return hr;
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample) {
    IMemInputPin* input = TakeInputPin();
    if (!input) return VFW_E_NOT_CONNECTED;
    const HRESULT hr = input->Receive(pSample);
    input->Release();
    return hr;
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

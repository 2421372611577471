#include "platform/BaseInputPin.h"

#include <new>

#include "foundation/CUAutoLock.h"

CBaseInputPin::CBaseInputPin(const char* objectName, CBaseFilter* filter, CURecursiveLock* lock,
                             HRESULT* phr, const wchar_t* pinName)
    : CBasePin(objectName, filter, lock, phr, pinName, PINDIR_INPUT) {}

CBaseInputPin::~CBaseInputPin() {
    if (m_pAllocator) m_pAllocator->Release();
}

HRESULT CBaseInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    if (riid == IID_IMemInputPin) return GetInterface(static_cast<IMemInputPin*>(this), ppv);
    return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBaseInputPin::GetAllocator(IMemAllocator** ppAllocator) {
    if (!ppAllocator) return E_POINTER;
    CUAutoLock lock(m_pLock);
    if (!m_pAllocator) {
        auto* allocator = new (std::nothrow) CMemAllocator("input pin allocator");
        if (!allocator) return E_OUTOFMEMORY;
        allocator->AddRef();
        m_pAllocator = allocator;
    }
    m_pAllocator->AddRef();
    *ppAllocator = m_pAllocator;
    return S_OK;
}

HRESULT CBaseInputPin::NotifyAllocator(IMemAllocator* pAllocator, bool readOnly) {
    if (!pAllocator) return E_POINTER;
    CUAutoLock lock(m_pLock);
    pAllocator->AddRef();
    if (m_pAllocator) m_pAllocator->Release();
    m_pAllocator = pAllocator;
    m_bReadOnly = readOnly;
    return S_OK;
}

HRESULT CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) {
    return E_NOTIMPL;
}

HRESULT CBaseInputPin::Receive(IMediaSample* pSample) {
    if (!pSample) return E_POINTER;
    if (!IsConnected()) return VFW_E_NOT_CONNECTED;
    if (IsStopped()) return VFW_E_WRONG_STATE;
    if (m_bFlushing.load()) return S_FALSE;
    return S_OK;
}

HRESULT CBaseInputPin::ReceiveMultiple(IMediaSample** pSamples, int32_t nSamples,
                                       int32_t* nProcessed) {
    if (!pSamples || !nProcessed) return E_POINTER;
    *nProcessed = 0;
    HRESULT hr = S_OK;
    while (*nProcessed < nSamples) {
        hr = Receive(pSamples[*nProcessed]);
        if (hr != S_OK) break;
        ++*nProcessed;
    }
    return hr;
}

HRESULT CBaseInputPin::BeginFlush() {
    m_bFlushing.store(true);
    return S_OK;
}

HRESULT CBaseInputPin::EndFlush() {
    m_bFlushing.store(false);
    return S_OK;
}

HRESULT CBaseInputPin::BreakConnect() {
    if (m_pAllocator) {
        m_pAllocator->Decommit();
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    return S_OK;
}

HRESULT CBaseInputPin::Inactive() {
    m_bFlushing.store(false);
    return S_OK;
}

HRESULT CBaseInputPin::PassNotify(const Quality& q) {
    IPin* peer = GetConnected();
    if (!peer) return VFW_E_NOT_CONNECTED;
    IQualityControl* sink = nullptr;
    if (FAILED(peer->QueryInterface(IID_IQualityControl, reinterpret_cast<void**>(&sink))))
        return E_NOTIMPL;
    const HRESULT hr = sink->Notify(m_pFilter, q);
    sink->Release();
    return hr;
}

#include "platform/BaseFilter.h"

#include <cwchar>

#include "foundation/CUAutoLock.h"
#include "platform/BasePin.h"

CBaseFilter::CBaseFilter(const char* name, IUnknown* outer, CURecursiveLock* lock, REFCLSID clsid)
    : CUnknown(name, outer), m_pLock(lock), m_clsid(clsid) {}

CBaseFilter::~CBaseFilter() {
    if (m_pClock) m_pClock->Release();
}

HRESULT CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    if (riid == IID_IBaseFilter) return GetInterface(static_cast<IBaseFilter*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBaseFilter::Stop() {
    CUAutoLock lock(m_pLock);
    // Every connected pin, even when stopped already: a Pause that failed half way may have
    // left some pins active.
    HRESULT first = S_OK;
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (!pin || !pin->IsConnected()) continue;
        const HRESULT hr = pin->Inactive();
        if (FAILED(hr) && SUCCEEDED(first)) first = hr;
    }
    m_State.store(State_Stopped);
    return first;
}

HRESULT CBaseFilter::Pause() {
    CUAutoLock lock(m_pLock);
    if (m_State.load() == State_Stopped) {
        for (int i = 0; i < GetPinCount(); ++i) {
            CBasePin* pin = GetPin(i);
            if (!pin || !pin->IsConnected()) continue;
            const HRESULT hr = pin->Active();
            if (FAILED(hr)) return hr;
        }
    }
    m_State.store(State_Paused);
    return S_OK;
}

HRESULT CBaseFilter::Run(REFERENCE_TIME tStart) {
    CUAutoLock lock(m_pLock);
    if (m_State.load() == State_Stopped) {
        const HRESULT hr = Pause();
        if (FAILED(hr)) return hr;
    }
    m_tStart = tStart;
    HRESULT first = S_OK;
    if (m_State.load() != State_Running) {
        for (int i = 0; i < GetPinCount(); ++i) {
            CBasePin* pin = GetPin(i);
            if (!pin || !pin->IsConnected()) continue;
            const HRESULT hr = pin->Run(tStart);
            if (FAILED(hr) && SUCCEEDED(first)) first = hr;
        }
    }
    m_State.store(State_Running);
    return first;
}

HRESULT CBaseFilter::GetState(uint32_t, FILTER_STATE* pState) {
    if (!pState) return E_POINTER;
    *pState = m_State.load();
    return S_OK;
}

HRESULT CBaseFilter::SetSyncSource(IReferenceClock* pClock) {
    CUAutoLock lock(m_pLock);
    if (pClock) pClock->AddRef();
    if (m_pClock) m_pClock->Release();
    m_pClock = pClock;
    return S_OK;
}

HRESULT CBaseFilter::GetSyncSource(IReferenceClock** ppClock) {
    if (!ppClock) return E_POINTER;
    CUAutoLock lock(m_pLock);
    *ppClock = m_pClock;
    if (m_pClock) m_pClock->AddRef();
    return S_OK;
}

HRESULT CBaseFilter::FindPin(const wchar_t* id, IPin** ppPin) {
    if (!ppPin || !id) return E_POINTER;
    CUAutoLock lock(m_pLock);
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (pin && pin->Name() == id)
            return GetInterface(static_cast<IPin*>(pin), reinterpret_cast<void**>(ppPin));
    }
    *ppPin = nullptr;
    return E_FAIL;
}

HRESULT CBaseFilter::JoinFilterGraph(IMediaEventSink* pSink) {
    CUAutoLock lock(m_pLock);
    m_pSink.store(pSink);
    return S_OK;
}

HRESULT CBaseFilter::StreamTime(REFERENCE_TIME* pTime) {
    if (!pTime) return E_POINTER;
    CUAutoLock lock(m_pLock);
    if (!m_pClock) return E_FAIL;
    REFERENCE_TIME now = 0;
    const HRESULT hr = m_pClock->GetTime(&now);
    if (FAILED(hr)) return hr;
    *pTime = now - m_tStart;
    return S_OK;
}

HRESULT CBaseFilter::NotifyEvent(long eventCode, LONG_PTR param1, LONG_PTR param2) {
    IMediaEventSink* sink = m_pSink.load();
    if (!sink) return E_NOTIMPL;
    return sink->Notify(eventCode, param1, param2);
}

#include "platform/BasePin.h"

#include "foundation/CUAutoLock.h"

namespace {
// A partly specified type matches every type that agrees with what it specifies.
bool MatchesPartial(const CMediaType& type, const AM_MEDIA_TYPE* partial) {
    if (!partial) return true;
    if (partial->majortype != GUID_NULL && partial->majortype != type.majortype) return false;
    if (partial->subtype != GUID_NULL && partial->subtype != type.subtype) return false;
    return true;
}
}  // namespace

CBasePin::CBasePin(const char* objectName, CBaseFilter* filter, CURecursiveLock* lock, HRESULT* phr,
                   const wchar_t* pinName, PIN_DIRECTION dir)
    : CUnknown(objectName, nullptr),
      m_pFilter(filter),
      m_pLock(lock),
      m_pName(pinName ? pinName : L""),
      m_dir(dir) {
    if (phr && !filter && SUCCEEDED(*phr)) *phr = E_POINTER;
}

CBasePin::~CBasePin() {
    if (m_Connected) m_Connected->Release();
}

HRESULT CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    if (riid == IID_IPin) return GetInterface(static_cast<IPin*>(this), ppv);
    if (riid == IID_IQualityControl) return GetInterface(static_cast<IQualityControl*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBasePin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) {
    if (!pReceivePin) return E_POINTER;
    CUAutoLock lock(m_pLock);
    if (m_Connected) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped()) return VFW_E_WRONG_STATE;
    HRESULT hr = CheckConnect(pReceivePin);
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    for (int i = 0;; ++i) {
        CMediaType type;
        hr = GetMediaType(i, &type);
        if (hr != S_OK) break;
        if (!MatchesPartial(type, pmt)) continue;
        if (SUCCEEDED(AttemptConnection(pReceivePin, &type))) return S_OK;
    }
    BreakConnect();
    return VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CBasePin::AttemptConnection(IPin* pReceivePin, const CMediaType* pmt) {
    if (CheckMediaType(pmt) != S_OK) return VFW_E_TYPE_NOT_ACCEPTED;
    m_Connected = pReceivePin;
    m_Connected->AddRef();
    HRESULT hr = SetMediaType(pmt);
    if (SUCCEEDED(hr)) hr = pReceivePin->ReceiveConnection(this, pmt);
    if (SUCCEEDED(hr)) {
        hr = CompleteConnect(pReceivePin);
        if (SUCCEEDED(hr)) return S_OK;
        pReceivePin->Disconnect();
    }
    m_Connected->Release();
    m_Connected = nullptr;
    return FAILED(hr) ? hr : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CBasePin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) {
    if (!pConnector || !pmt) return E_POINTER;
    CUAutoLock lock(m_pLock);
    if (m_Connected) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped()) return VFW_E_WRONG_STATE;
    HRESULT hr = CheckConnect(pConnector);
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    const CMediaType type(*pmt);
    if (CheckMediaType(&type) != S_OK) {
        BreakConnect();
        return VFW_E_TYPE_NOT_ACCEPTED;
    }
    m_Connected = pConnector;
    m_Connected->AddRef();
    hr = SetMediaType(&type);
    if (SUCCEEDED(hr)) hr = CompleteConnect(pConnector);
    if (FAILED(hr)) {
        m_Connected->Release();
        m_Connected = nullptr;
        BreakConnect();
        return hr;
    }
    return S_OK;
}

HRESULT CBasePin::Disconnect() {
    CUAutoLock lock(m_pLock);
    if (!IsStopped()) return VFW_E_WRONG_STATE;
    if (!m_Connected) return S_FALSE;
    const HRESULT hr = BreakConnect();
    if (FAILED(hr)) return hr;
    m_Connected->Release();
    m_Connected = nullptr;
    return S_OK;
}

HRESULT CBasePin::ConnectedTo(IPin** ppPin) {
    if (!ppPin) return E_POINTER;
    CUAutoLock lock(m_pLock);
    *ppPin = m_Connected;
    if (!m_Connected) return VFW_E_NOT_CONNECTED;
    m_Connected->AddRef();
    return S_OK;
}

HRESULT CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* pmt) {
    if (!pmt) return E_POINTER;
    CUAutoLock lock(m_pLock);
    if (!m_Connected) return VFW_E_NOT_CONNECTED;
    return CopyMediaType(pmt, &m_mt);
}

HRESULT CBasePin::QueryDirection(PIN_DIRECTION* pPinDir) {
    if (!pPinDir) return E_POINTER;
    *pPinDir = m_dir;
    return S_OK;
}

HRESULT CBasePin::QueryAccept(const AM_MEDIA_TYPE* pmt) {
    if (!pmt) return E_POINTER;
    const CMediaType type(*pmt);
    return CheckMediaType(&type) == S_OK ? S_OK : S_FALSE;
}

HRESULT CBasePin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    std::lock_guard<std::mutex> guard(segmentLock);
    m_tStart = tStart;
    m_tStop = tStop;
    m_dRate = dRate;
    return S_OK;
}

REFERENCE_TIME CBasePin::CurrentStartTime() {
    std::lock_guard<std::mutex> guard(segmentLock);
    return m_tStart;
}

REFERENCE_TIME CBasePin::CurrentStopTime() {
    std::lock_guard<std::mutex> guard(segmentLock);
    return m_tStop;
}

double CBasePin::CurrentRate() {
    std::lock_guard<std::mutex> guard(segmentLock);
    return m_dRate;
}

HRESULT CBasePin::Notify(IBaseFilter*, Quality) {
    return E_NOTIMPL;
}

HRESULT CBasePin::GetMediaType(int iPosition, CMediaType*) {
    return iPosition < 0 ? E_INVALIDARG : VFW_S_NO_MORE_ITEMS;
}

HRESULT CBasePin::SetMediaType(const CMediaType* pmt) {
    return m_mt.Set(*pmt);
}

HRESULT CBasePin::CheckConnect(IPin* pPin) {
    PIN_DIRECTION dir = PINDIR_INPUT;
    const HRESULT hr = pPin->QueryDirection(&dir);
    if (FAILED(hr)) return hr;
    return dir == m_dir ? E_INVALIDARG : S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin*) {
    return S_OK;
}

HRESULT CBasePin::BreakConnect() {
    return S_OK;
}

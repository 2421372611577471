#include "platform/Source.h"

#include <algorithm>
#include <new>

#include "foundation/CUAutoLock.h"
#include "platform/SourceStream.h"

CSource::CSource(const char* name, IUnknown* outer, REFCLSID clsid, HRESULT* phr)
    : CBaseFilter(name, outer, &m_cStateLock, clsid) {
    (void)phr;
}

CSource::~CSource() {
    // Each pin removes itself from the list as it is deleted.
    while (!m_paStreams.empty()) delete m_paStreams.back();
}

int CSource::GetPinCount() {
    CUAutoLock lock(&m_cStateLock);
    return static_cast<int>(m_paStreams.size());
}

CBasePin* CSource::GetPin(int n) {
    CUAutoLock lock(&m_cStateLock);
    if (n < 0 || n >= static_cast<int>(m_paStreams.size())) return nullptr;
    return m_paStreams[static_cast<size_t>(n)];
}

HRESULT CSource::AddPin(CSourceStream* pin) {
    CUAutoLock lock(&m_cStateLock);
    try {
        m_paStreams.push_back(pin);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT CSource::RemovePin(CSourceStream* pin) {
    CUAutoLock lock(&m_cStateLock);
    const auto it = std::find(m_paStreams.begin(), m_paStreams.end(), pin);
    if (it == m_paStreams.end()) return E_FAIL;
    m_paStreams.erase(it);
    return S_OK;
}

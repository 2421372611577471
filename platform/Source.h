// CSource: a filter whose pins push data of their own (CSourceStream pins).
//
// It owns the filter lock (m_cStateLock) and its pins: a CSourceStream adds itself on
// construction and removes itself on destruction, and the filter's destructor deletes the pins
// still there, last first. GetPin sees the pins in the order they were made.
// Threads: the pin list is guarded by m_cStateLock. Failures: E_OUTOFMEMORY from AddPin;
// E_FAIL from RemovePin for a pin not in the list.
#pragma once

#include <vector>

#include "foundation/CURecursiveLock.h"
#include "platform/BaseFilter.h"

class CSourceStream;

class CSource : public CBaseFilter {
public:
    CSource(const char* name, IUnknown* outer, REFCLSID clsid, HRESULT* phr = nullptr);
    ~CSource() override;

    int GetPinCount() override;
    CBasePin* GetPin(int n) override;

    HRESULT AddPin(CSourceStream* pin);
    HRESULT RemovePin(CSourceStream* pin);

protected:
    CURecursiveLock m_cStateLock;
    std::vector<CSourceStream*> m_paStreams;  // guarded by m_cStateLock; owned
};

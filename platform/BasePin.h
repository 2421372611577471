// CBasePin: what input and output pins share: the connection and its media type, the direction,
// the segment last announced, and the quality sink.
//
// Connection: Connect (on the output) proposes its own types GetMediaType(0), (1), ... until
// VFW_S_NO_MORE_ITEMS, skipping those that do not match the partial type given; for each it
// checks its own CheckMediaType and then calls the peer's ReceiveConnection, which checks the
// peer's CheckMediaType. The first type both accept is the connection's; then CompleteConnect
// runs on both sides (the output settles the allocator there). The peer's own types are not
// tried. A pin references its peer while connected. A pin answers QueryInterface itself and
// counts its references on its filter, which owns and deletes it.
// Threads: connection calls take the filter lock and happen while the filter is stopped; the
// peer and the type change only then, so streaming threads read them without the lock.
// NewSegment stores its values under `segmentLock`.
// Failures: VFW_E_ALREADY_CONNECTED when connected; VFW_E_WRONG_STATE when the filter is not
// stopped; VFW_E_TYPE_NOT_ACCEPTED when no proposed type is taken; VFW_E_NOT_CONNECTED from
// ConnectedTo/ConnectionMediaType without a peer; E_INVALIDARG from CheckConnect for a peer of
// the same direction; E_POINTER for null pins and out pointers.
#pragma once

#include <mutex>
#include <string>

#include "foundation/CURecursiveLock.h"
#include "platform/BaseFilter.h"
#include "platform/MediaType.h"
#include "platform/Pin.h"
#include "platform/QualityControl.h"
#include "platform/Unknown.h"

class CBasePin : public CUnknown, public IPin, public IQualityControl {
public:
    // `lock`: the filter lock, or one shared by the filter's pins; outlives the pin.
    CBasePin(const char* objectName, CBaseFilter* filter, CURecursiveLock* lock, HRESULT* phr,
             const wchar_t* pinName, PIN_DIRECTION dir);
    ~CBasePin() override;

    // A pin answers its own interfaces; its reference count is its filter's.
    HRESULT QueryInterface(REFIID riid, void** ppv) override {
        return NonDelegatingQueryInterface(riid, ppv);
    }
    uint32_t AddRef() override { return m_pFilter->AddRef(); }
    uint32_t Release() override { return m_pFilter->Release(); }
    uint32_t NonDelegatingAddRef() override { return m_pFilter->AddRef(); }
    uint32_t NonDelegatingRelease() override { return m_pFilter->Release(); }
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) override;
    HRESULT ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) override;
    HRESULT Disconnect() override;
    HRESULT ConnectedTo(IPin** ppPin) override;
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* pmt) override;
    HRESULT QueryDirection(PIN_DIRECTION* pPinDir) override;
    HRESULT QueryAccept(const AM_MEDIA_TYPE* pmt) override;
    HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;
    // Quality messages: none handled here (E_NOTIMPL); an output pin that reacts overrides.
    HRESULT Notify(IBaseFilter* pSelf, Quality q) override;

    // S_OK accepted; anything else refused.
    virtual HRESULT CheckMediaType(const CMediaType* pmt) = 0;
    // The types this pin proposes: S_OK, VFW_S_NO_MORE_ITEMS past the last, E_INVALIDARG for a
    // negative position. The base has none.
    virtual HRESULT GetMediaType(int iPosition, CMediaType* pMediaType);
    virtual HRESULT SetMediaType(const CMediaType* pmt);
    // Checks the peer before any type is tried (direction; an output also wants IMemInputPin).
    virtual HRESULT CheckConnect(IPin* pPin);
    virtual HRESULT CompleteConnect(IPin* pReceivePin);
    virtual HRESULT BreakConnect();
    // Called by the filter on Pause from stopped, on Stop, and on Run.
    virtual HRESULT Active() { return S_OK; }
    virtual HRESULT Inactive() { return S_OK; }
    virtual HRESULT Run(REFERENCE_TIME) { return S_OK; }

    bool IsConnected() const { return m_Connected != nullptr; }
    IPin* GetConnected() const { return m_Connected; }
    bool IsStopped() const { return m_pFilter->IsStopped(); }
    const std::wstring& Name() const { return m_pName; }
    const CMediaType& CurrentMediaType() const { return m_mt; }
    REFERENCE_TIME CurrentStartTime();
    REFERENCE_TIME CurrentStopTime();
    double CurrentRate();

protected:
    HRESULT AttemptConnection(IPin* pReceivePin, const CMediaType* pmt);

    CBaseFilter* const m_pFilter;  // owns the pin
    CURecursiveLock* const m_pLock;
    const std::wstring m_pName;
    const PIN_DIRECTION m_dir;
    IPin* m_Connected = nullptr;  // referenced; changed under m_pLock while stopped
    CMediaType m_mt;              // changed under m_pLock while stopped

private:
    std::mutex segmentLock;
    REFERENCE_TIME m_tStart = 0;                  // guarded by segmentLock
    REFERENCE_TIME m_tStop = 0x7FFFFFFFFFFFFFFF;  // guarded by segmentLock
    double m_dRate = 1.0;                         // guarded by segmentLock
};

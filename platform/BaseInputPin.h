// CBaseInputPin: a pin that takes samples through IMemInputPin.
//
// It lends its own allocator (a CMemAllocator made on first demand) and keeps the one the output
// chose. Receive refuses samples while flushing (S_FALSE, between BeginFlush and EndFlush) and
// while the filter is stopped (VFW_E_WRONG_STATE); a subclass calls it first and then handles
// the sample. PassNotify sends a quality message to the output pin feeding this one.
// Threads: Receive, EndOfStream and NewSegment run on the upstream streaming thread; BeginFlush
// and EndFlush on the controlling thread; the flushing flag is atomic. The allocator changes
// under the filter lock, only while stopped.
// Failures: VFW_E_NOT_CONNECTED from Receive without a peer; E_POINTER for null arguments;
// E_NOTIMPL from GetAllocatorRequirements (no wishes) and from PassNotify when the peer takes no
// quality messages.
#pragma once

#include <atomic>

#include "platform/BasePin.h"
#include "platform/MemAllocator.h"
#include "platform/MemInputPin.h"

class CBaseInputPin : public CBasePin, public IMemInputPin {
public:
    CBaseInputPin(const char* objectName, CBaseFilter* filter, CURecursiveLock* lock, HRESULT* phr,
                  const wchar_t* pinName);
    ~CBaseInputPin() override;

    HRESULT QueryInterface(REFIID riid, void** ppv) override {
        return NonDelegatingQueryInterface(riid, ppv);
    }
    uint32_t AddRef() override { return m_pFilter->AddRef(); }
    uint32_t Release() override { return m_pFilter->Release(); }
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT GetAllocator(IMemAllocator** ppAllocator) override;
    HRESULT NotifyAllocator(IMemAllocator* pAllocator, bool readOnly) override;
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) override;
    HRESULT Receive(IMediaSample* pSample) override;
    HRESULT ReceiveMultiple(IMediaSample** pSamples, int32_t nSamples,
                            int32_t* nProcessed) override;
    HRESULT ReceiveCanBlock() override { return S_OK; }

    HRESULT EndOfStream() override { return S_OK; }
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;
    HRESULT BreakConnect() override;
    HRESULT Inactive() override;

    HRESULT PassNotify(const Quality& q);
    bool IsFlushing() const { return m_bFlushing.load(); }
    bool IsReadOnly() const { return m_bReadOnly; }

protected:
    IMemAllocator* m_pAllocator = nullptr;  // referenced; guarded by m_pLock, set while stopped
    bool m_bReadOnly = false;               // guarded by m_pLock, set while stopped
    std::atomic<bool> m_bFlushing{false};   // atomic: set by the controlling thread, read on the
                                            // streaming thread
};

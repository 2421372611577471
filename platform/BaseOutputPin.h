// CBaseOutputPin: a pin that pushes samples downstream through the input's IMemInputPin.
//
// On connection (CompleteConnect) it settles the allocator: it takes the input's allocator
// (GetAllocator), or a new CMemAllocator when the input has none, lets the subclass size the
// pool (DecideBufferSize, with the input's wishes as a start) and tells the input
// (NotifyAllocator). Active commits the pool and Inactive decommits it, which also fails every
// GetDeliveryBuffer waiting for a buffer. Deliver hands a sample to the input's Receive; the
// Deliver* calls pass end of stream, flush and new segment to the peer pin. The IPin calls that
// only input pins take (EndOfStream, BeginFlush, EndFlush) answer E_UNEXPECTED.
// Threads: GetDeliveryBuffer and Deliver* run on the streaming thread; the allocator and the
// input's interface change only while stopped (see CBasePin). A worker of a filter may still be
// between two steps when its graph disconnects the pins, so GetDeliveryBuffer and Deliver take
// a reference to them under m_csPeer and call outside it; BreakConnect swaps them out under it.
// Failures: VFW_E_NOT_CONNECTED from Deliver* without a peer; E_NOINTERFACE from
// GetDeliveryBuffer and VFW_E_NO_ALLOCATOR from Active without an allocator; the allocator's and
// the input's codes otherwise.
#pragma once

#include <mutex>

#include "platform/BasePin.h"
#include "platform/MemAllocator.h"
#include "platform/MemInputPin.h"

class CBaseOutputPin : public CBasePin {
public:
    CBaseOutputPin(const char* objectName, CBaseFilter* filter, CURecursiveLock* lock, HRESULT* phr,
                   const wchar_t* pinName);
    ~CBaseOutputPin() override;

    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    HRESULT Active() override;
    HRESULT Inactive() override;

    // Sets the pool's size on `pAlloc`; `pProps` holds the input's wishes (zeros when none).
    virtual HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps) = 0;
    virtual HRESULT DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc);
    virtual HRESULT GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                      REFERENCE_TIME* pEndTime, uint32_t dwFlags);
    virtual HRESULT Deliver(IMediaSample* pSample);
    virtual HRESULT DeliverEndOfStream();
    virtual HRESULT DeliverBeginFlush();
    virtual HRESULT DeliverEndFlush();
    virtual HRESULT DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);

    HRESULT EndOfStream() override { return E_UNEXPECTED; }
    HRESULT BeginFlush() override { return E_UNEXPECTED; }
    HRESULT EndFlush() override { return E_UNEXPECTED; }

protected:
    // Referenced; set on connection (stopped only), under m_csPeer.
    IMemAllocator* m_pAllocator = nullptr;
    IMemInputPin* m_pInputPin = nullptr;
    std::mutex m_csPeer;  // a leaf lock: nothing is called while it is held

private:
    // m_pAllocator / m_pInputPin with a reference taken under m_csPeer, or null.
    IMemAllocator* TakeAllocator();
    IMemInputPin* TakeInputPin();
};

// IPin: one end of a connection between two filters, and what travels with the stream besides
// samples (end of stream, flush, new segment), always downstream.
// Threads: Connect, ReceiveConnection and Disconnect run on the controlling thread while the
// filters are stopped; EndOfStream and NewSegment on the upstream streaming thread; BeginFlush and
// EndFlush on the controlling thread. Failures: see CBasePin.
#pragma once

#include "platform/InterfaceIds.h"
#include "platform/MediaType.h"
#include "platform/ReferenceTime.h"
#include "platform/Unknown.h"

enum PIN_DIRECTION { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 };

class IPin : public IUnknown {
public:
    // Called on an output pin: connect to `pReceivePin`, with `pmt` (may be null or partly
    // specified) restricting the types tried.
    virtual HRESULT Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) = 0;
    // Called by the connecting pin on the receiving one with the type it proposes.
    virtual HRESULT ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) = 0;
    // Breaks this side only; each side of a connection is disconnected on its own.
    virtual HRESULT Disconnect() = 0;
    // A new reference on the peer, VFW_E_NOT_CONNECTED (and null) when none.
    virtual HRESULT ConnectedTo(IPin** ppPin) = 0;
    virtual HRESULT ConnectionMediaType(AM_MEDIA_TYPE* pmt) = 0;
    virtual HRESULT QueryDirection(PIN_DIRECTION* pPinDir) = 0;
    // S_OK when the pin would take this type, S_FALSE when not.
    virtual HRESULT QueryAccept(const AM_MEDIA_TYPE* pmt) = 0;
    virtual HRESULT EndOfStream() = 0;
    virtual HRESULT BeginFlush() = 0;
    virtual HRESULT EndFlush() = 0;
    virtual HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) = 0;
};

// IMemInputPin: how an output pin hands samples to the input pin it is connected to.
//
// The output pin asks the input for an allocator (GetAllocator) and its wishes
// (GetAllocatorRequirements), settles the pool, and tells the input which allocator it will use
// (NotifyAllocator). Receive takes one sample; the input AddRefs it if it keeps it.
// Threads: Receive and ReceiveMultiple run on the upstream pin's streaming thread; the rest on the
// thread that connects the pins. Failures: see CBaseInputPin.
#pragma once

#include <cstdint>

#include "platform/InterfaceIds.h"
#include "platform/MemAllocator.h"
#include "platform/Unknown.h"

class IMemInputPin : public IUnknown {
public:
    // A new reference on the input's allocator.
    virtual HRESULT GetAllocator(IMemAllocator** ppAllocator) = 0;
    // `readOnly`: the samples must not be written by the input.
    virtual HRESULT NotifyAllocator(IMemAllocator* pAllocator, bool readOnly) = 0;
    // E_NOTIMPL when the input has no wishes.
    virtual HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* pProps) = 0;
    // S_OK taken; S_FALSE refused without error (flushing); a failure stops the stream.
    virtual HRESULT Receive(IMediaSample* pSample) = 0;
    // Receives the samples in order until one is not S_OK; *nProcessed counts the S_OK ones.
    virtual HRESULT ReceiveMultiple(IMediaSample** pSamples, int32_t nSamples,
                                    int32_t* nProcessed) = 0;
    // S_OK when Receive may block, S_FALSE when it never does.
    virtual HRESULT ReceiveCanBlock() = 0;
};

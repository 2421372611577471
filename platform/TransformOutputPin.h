// CTransformOutputPin: the output pin of a CTransformFilter ("XForm Out").
//
// It connects only after the input: its types are the filter's GetMediaType, and a type is
// accepted when the filter's CheckTransform takes it from the input's type. The pool is sized by
// the filter's DecideBufferSize. Quality messages from downstream go to the filter's
// AlterQuality and, when it declines them, upstream through the input pin.
// Threads: connection calls on the controlling thread under the filter lock; Notify on the
// downstream streaming thread, without locks. Ownership: owned by the filter; its references
// are the filter's. Failures: E_UNEXPECTED from connection calls while the input is not
// connected; the filter's results otherwise.
#pragma once

#include "platform/BaseOutputPin.h"

class CTransformFilter;

class CTransformOutputPin : public CBaseOutputPin {
public:
    CTransformOutputPin(const char* objectName, CTransformFilter* filter, HRESULT* phr,
                        const wchar_t* name);

    HRESULT CheckConnect(IPin* pPin) override;
    HRESULT BreakConnect() override;
    HRESULT CompleteConnect(IPin* pReceivePin) override;
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT SetMediaType(const CMediaType* pmt) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps) override;

    HRESULT Notify(IBaseFilter* pSelf, Quality q) override;

private:
    CTransformFilter* const m_pTransformFilter;  // owns the pin
};

#include "platform/TransformFilter.h"

#include <cstddef>
#include <new>

#include "foundation/CUAutoLock.h"
#include "platform/MediaEvent.h"
#include "platform/TransformInputPin.h"
#include "platform/TransformOutputPin.h"

CTransformFilter::CTransformFilter(const char* name, IUnknown* outer, REFCLSID clsid,
                                   const wchar_t* inputPinName, const wchar_t* outputPinName)
    : CBaseFilter(name, outer, &m_csFilter, clsid),
      m_inputPinName(inputPinName),
      m_outputPinName(outputPinName) {}

CTransformFilter::~CTransformFilter() {
    delete m_pInput;
    delete m_pOutput;
}

CBasePin* CTransformFilter::GetPin(int n) {
    CUAutoLock lock(&m_csFilter);
    if (!m_pInput) {
        HRESULT hr = S_OK;
        auto* input =
            new (std::nothrow) CTransformInputPin("transform input", this, &hr, m_inputPinName);
        auto* output =
            new (std::nothrow) CTransformOutputPin("transform output", this, &hr, m_outputPinName);
        if (!input || !output || FAILED(hr)) {
            delete input;
            delete output;
            return nullptr;
        }
        m_pInput = input;
        m_pOutput = output;
    }
    if (n == 0) return m_pInput;
    if (n == 1) return m_pOutput;
    return nullptr;
}

HRESULT CTransformFilter::Pause() {
    CUAutoLock lock(&m_csFilter);
    if (!IsStopped()) return CBaseFilter::Pause();
    if (!GetPin(0)) return E_OUTOFMEMORY;
    {
        CUAutoLock receive(&m_csReceive);
        m_bSampleSkipped = false;
        m_bQualityChanged = false;
        m_bDiscontinuity = true;
    }
    HRESULT hr = StartStreaming();
    if (FAILED(hr)) return hr;
    hr = CBaseFilter::Pause();
    if (FAILED(hr)) {
        // Some pins may be active: take them back. No sample came in, the filter is stopped.
        CBaseFilter::Stop();
        StopStreaming();
    }
    return hr;
}

HRESULT CTransformFilter::Stop() {
    CUAutoLock lock(&m_csFilter);
    if (!m_pInput) {
        m_State.store(State_Stopped);
        return S_OK;
    }
    const bool wasActive = IsActive();
    // From here the input pin refuses samples, and a Receive waiting for a buffer comes back.
    m_State.store(State_Stopped);
    HRESULT first = S_OK;
    if (m_pOutput->IsConnected()) first = m_pOutput->Inactive();
    CUAutoLock receive(&m_csReceive);
    if (m_pInput->IsConnected()) {
        const HRESULT hr = m_pInput->Inactive();
        if (FAILED(hr) && SUCCEEDED(first)) first = hr;
    }
    if (wasActive) {
        const HRESULT hr = StopStreaming();
        if (FAILED(hr) && SUCCEEDED(first)) first = hr;
    }
    return first;
}

HRESULT CTransformFilter::InitializeOutputSample(IMediaSample* pSample,
                                                 IMediaSample** ppOutSample) {
    *ppOutSample = nullptr;
    IMediaSample* out = nullptr;
    HRESULT hr = m_pOutput->GetDeliveryBuffer(&out, nullptr, nullptr, 0);
    if (FAILED(hr)) return hr;

    const bool discontinuity = m_bDiscontinuity || m_bSampleSkipped;
    IMediaSample2* in2 = nullptr;
    IMediaSample2* out2 = nullptr;
    bool copied = false;
    if (SUCCEEDED(pSample->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&in2))) &&
        SUCCEEDED(out->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&out2)))) {
        AM_SAMPLE2_PROPERTIES inProps;
        AM_SAMPLE2_PROPERTIES outProps;
        constexpr uint32_t kSize = offsetof(AM_SAMPLE2_PROPERTIES, dwStreamId);
        if (SUCCEEDED(in2->GetProperties(kSize, reinterpret_cast<uint8_t*>(&inProps))) &&
            SUCCEEDED(out2->GetProperties(kSize, reinterpret_cast<uint8_t*>(&outProps)))) {
            // The input's type change concerns the input's type, not the output's.
            outProps.dwTypeSpecificFlags = inProps.dwTypeSpecificFlags;
            outProps.dwSampleFlags = (outProps.dwSampleFlags & AM_SAMPLE_TYPECHANGED) |
                                     (inProps.dwSampleFlags & ~AM_SAMPLE_TYPECHANGED);
            if (discontinuity) outProps.dwSampleFlags |= AM_SAMPLE_DATADISCONTINUITY;
            outProps.tStart = inProps.tStart;
            outProps.tStop = inProps.tStop;
            outProps.cbData = kSize;
            copied = SUCCEEDED(out2->SetProperties(kSize, reinterpret_cast<uint8_t*>(&outProps)));
        }
    }
    if (in2) in2->Release();
    if (out2) out2->Release();
    if (!copied) {
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        hr = pSample->GetTime(&start, &stop);
        if (hr == S_OK) {
            out->SetTime(&start, &stop);
        } else if (hr == VFW_S_NO_STOP_TIME) {
            out->SetTime(&start, nullptr);
        }
        out->SetSyncPoint(pSample->IsSyncPoint() == S_OK);
        out->SetPreroll(pSample->IsPreroll() == S_OK);
        out->SetDiscontinuity(discontinuity || pSample->IsDiscontinuity() == S_OK);
    }
    int64_t mediaStart = 0;
    int64_t mediaStop = 0;
    if (pSample->GetMediaTime(&mediaStart, &mediaStop) == S_OK) {
        out->SetMediaTime(&mediaStart, &mediaStop);
    }
    *ppOutSample = out;
    return S_OK;
}

HRESULT CTransformFilter::SetPoolOfInputSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp,
                                             int32_t buffers) {
    if (!pAllocator || !pProp) return E_POINTER;
    if (!m_pInput || !m_pInput->IsConnected()) return E_UNEXPECTED;
    IMemAllocator* inputAllocator = nullptr;
    HRESULT hr = m_pInput->GetAllocator(&inputAllocator);
    if (FAILED(hr)) return hr;
    ALLOCATOR_PROPERTIES inputProps;
    hr = inputAllocator->GetProperties(&inputProps);
    inputAllocator->Release();
    if (FAILED(hr)) return hr;
    pProp->cBuffers = buffers;
    pProp->cbBuffer = inputProps.cbBuffer;
    pProp->cbAlign = 1;
    ALLOCATOR_PROPERTIES actual;
    return pAllocator->SetProperties(pProp, &actual);
}

HRESULT CTransformFilter::Receive(IMediaSample* pSample) {
    if (pSample->IsPreroll() == S_OK) return S_OK;
    IMediaSample* out = nullptr;
    HRESULT hr = InitializeOutputSample(pSample, &out);
    if (FAILED(hr)) return hr;
    hr = Transform(pSample, out);
    if (FAILED(hr)) {
        out->Release();
        NotifyEvent(EC_ERRORABORT, hr, 0);
        return hr;
    }
    if (hr == S_FALSE) {
        out->Release();
        m_bSampleSkipped = true;
        if (!m_bQualityChanged) {
            m_bQualityChanged = true;
            NotifyEvent(EC_QUALITY_CHANGE, 0, 0);
        }
        return S_OK;
    }
    m_bSampleSkipped = false;
    m_bQualityChanged = false;
    m_bDiscontinuity = false;
    hr = m_pOutput->Deliver(out);
    out->Release();
    return hr;
}

HRESULT CTransformFilter::EndOfStream() {
    return m_pOutput->DeliverEndOfStream();
}

HRESULT CTransformFilter::BeginFlush() {
    return m_pOutput->DeliverBeginFlush();
}

HRESULT CTransformFilter::EndFlush() {
    m_bDiscontinuity = true;  // the receive lock is held by the input pin
    return m_pOutput->DeliverEndFlush();
}

HRESULT CTransformFilter::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    return m_pOutput->DeliverNewSegment(tStart, tStop, dRate);
}

#include "platform/BaseRenderer.h"

#include <new>

#include "foundation/CUAutoLock.h"

CRendererInputPin::CRendererInputPin(CBaseRenderer* renderer, HRESULT* phr, const wchar_t* name)
    : CBaseInputPin("renderer input pin", renderer, renderer->pStateLock(), phr, name),
      m_pRenderer(renderer) {}

HRESULT CRendererInputPin::Receive(IMediaSample* pSample) {
    const HRESULT hr = CBaseInputPin::Receive(pSample);
    if (hr != S_OK) return hr;
    return m_pRenderer->Receive(pSample);
}

HRESULT CRendererInputPin::EndOfStream() {
    if (IsStopped()) return VFW_E_WRONG_STATE;
    if (IsFlushing()) return S_FALSE;
    return m_pRenderer->EndOfStream();
}

HRESULT CRendererInputPin::BeginFlush() {
    CBaseInputPin::BeginFlush();
    return m_pRenderer->BeginFlush();
}

HRESULT CRendererInputPin::EndFlush() {
    m_pRenderer->EndFlush();
    return CBaseInputPin::EndFlush();
}

HRESULT CRendererInputPin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    CBaseInputPin::NewSegment(tStart, tStop, dRate);
    return m_pRenderer->OnNewSegment(tStart, tStop, dRate);
}

HRESULT CRendererInputPin::CheckMediaType(const CMediaType* pmt) {
    return m_pRenderer->CheckMediaType(pmt);
}

CBaseRenderer::CBaseRenderer(REFCLSID clsid, const char* name, IUnknown* outer, HRESULT* phr)
    : CBaseFilter(name, outer, &m_InterfaceLock, clsid) {
    m_pInputPin = new (std::nothrow) CRendererInputPin(this, phr, L"In");
    if (!m_pInputPin && phr) *phr = E_OUTOFMEMORY;
}

CBaseRenderer::~CBaseRenderer() {
    delete m_pPosition.load();
    delete m_pInputPin;
}

HRESULT CBaseRenderer::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMediaSeeking || riid == IID_IMediaPosition)
        return GetMediaPositionInterface(riid, ppv);  // the pass-through has no IMediaPosition
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBaseRenderer::GetMediaPositionInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    {
        CUAutoLock lock(m_pLock);
        if (!m_pPosition && m_pInputPin) {
            HRESULT hr = S_OK;
            auto* position = new (std::nothrow)
                CRendererPosPassThru("renderer position", GetOwner(), &hr, m_pInputPin);
            if (!position) return E_OUTOFMEMORY;
            if (FAILED(hr)) {
                delete position;
                return hr;
            }
            m_pPosition = position;
        }
    }
    CRendererPosPassThru* position = m_pPosition.load();
    if (!position) return E_NOINTERFACE;
    return position->NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CBaseRenderer::Render(IMediaSample* pSample) {
    const HRESULT hr = DoRenderSample(pSample);
    if (CRendererPosPassThru* position = m_pPosition.load(); hr == S_OK && position)
        position->RegisterMediaTime(pSample);
    return hr;
}

HRESULT CBaseRenderer::Stop() {
    CUAutoLock lock(m_pLock);
    m_AbortEvent.Set();
    if (CRendererPosPassThru* position = m_pPosition.load()) position->ResetMediaTime();
    return CBaseFilter::Stop();
}

HRESULT CBaseRenderer::Pause() {
    CUAutoLock lock(m_pLock);
    if (IsStopped()) {
        {
            std::lock_guard<std::mutex> guard(m_RendererLock);
            m_bEOS = false;
            m_bEOSDelivered = false;
        }
        m_AbortEvent.Reset();
    }
    const HRESULT hr = CBaseFilter::Pause();
    if (FAILED(hr)) return hr;
    m_StateChanged.Set();
    return hr;
}

HRESULT CBaseRenderer::Run(REFERENCE_TIME tStart) {
    CUAutoLock lock(m_pLock);
    const HRESULT hr = CBaseFilter::Run(tStart);
    if (FAILED(hr) && m_State.load() != State_Running) return hr;
    m_StateChanged.Set();
    SendEndOfStreamIfDue();
    return hr;
}

void CBaseRenderer::SendEndOfStreamIfDue() {
    {
        std::lock_guard<std::mutex> guard(m_RendererLock);
        if (!m_bEOS || m_bEOSDelivered || m_State.load() != State_Running) return;
        m_bEOSDelivered = true;
    }
    NotifyEvent(EC_COMPLETE, S_OK, 0);
}

HRESULT CBaseRenderer::EndOfStream() {
    {
        std::lock_guard<std::mutex> guard(m_RendererLock);
        m_bEOS = true;
    }
    if (CRendererPosPassThru* position = m_pPosition.load()) position->EOS();
    SendEndOfStreamIfDue();
    return S_OK;
}

HRESULT CBaseRenderer::BeginFlush() {
    m_AbortEvent.Set();
    if (CRendererPosPassThru* position = m_pPosition.load()) position->ResetMediaTime();
    return S_OK;
}

HRESULT CBaseRenderer::EndFlush() {
    CUAutoLock lock(m_pLock);
    {
        std::lock_guard<std::mutex> guard(m_RendererLock);
        m_bEOS = false;
        m_bEOSDelivered = false;
    }
    if (!IsStopped()) m_AbortEvent.Reset();
    return S_OK;
}

void CBaseRenderer::SendQuality(const Quality& q) {
    m_pInputPin->PassNotify(q);  // E_NOTIMPL when upstream takes no quality messages: fine
}

HRESULT CBaseRenderer::RenderLate(IMediaSample* pSample, REFERENCE_TIME start, REFERENCE_TIME stop,
                                  REFERENCE_TIME late) {
    Quality q;
    q.Type = Flood;  // more arrives than is shown in time
    q.Late = late;
    q.TimeStamp = start;
    const REFERENCE_TIME duration = stop - start;
    q.Proportion =
        duration > 0 ? static_cast<int32_t>((1000 * duration) / (duration + late)) : 1000;
    SendQuality(q);
    return Render(pSample);
}

HRESULT CBaseRenderer::Receive(IMediaSample* pSample) {
    const HRESULT prepared = PrepareReceive(pSample);
    if (prepared != S_OK) return prepared;
    if (pSample->IsPreroll() == S_OK) return S_OK;
    {
        std::lock_guard<std::mutex> guard(m_RendererLock);
        if (m_bEOS) return VFW_E_SAMPLE_REJECTED;
    }
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    const bool timed = SUCCEEDED(pSample->GetTime(&start, &stop));
    bool told = false;  // OnReceiveFirstSample called
    for (;;) {
        bool running = false;
        IReferenceClock* clock = nullptr;
        REFERENCE_TIME base = 0;
        {
            // Pause and Run set m_StateChanged under this lock: any change after this read wakes
            // the waits below.
            CUAutoLock lock(m_pLock);
            m_StateChanged.Reset();
            running = m_State.load() == State_Running;
            base = m_tStart;
            clock = running && timed ? m_pClock : nullptr;
            if (clock) clock->AddRef();
        }
        const int aborted = CUWaitAny({&m_AbortEvent}, std::chrono::milliseconds(0));
        if (aborted != CUWaitTimeout) {
            if (clock) clock->Release();
            return Aborted();
        }
        if (!running) {
            // Paused: hold the sample until Run, a flush or Stop.
            if (!told) {
                told = true;
                OnReceiveFirstSample(pSample);
            }
            if (CUWaitAny({&m_AbortEvent, &m_StateChanged}) != 1) return Aborted();
            continue;
        }
        if (!clock) return Render(pSample);
        REFERENCE_TIME time = 0;
        HRESULT hr = clock->GetTime(&time);
        const REFERENCE_TIME late = time - (base + start);
        if (FAILED(hr) || late >= 0) {
            clock->Release();
            return FAILED(hr) ? Render(pSample) : RenderLate(pSample, start, stop, late);
        }
        const REFERENCE_TIME early = -late;
        m_ClockEvent.Reset();  // a fire that raced an earlier Unadvise
        uintptr_t cookie = 0;
        hr = clock->AdviseTime(base, start, &m_ClockEvent, &cookie);
        if (FAILED(hr)) {
            clock->Release();
            return Render(pSample);
        }
        OnWaitStart(start);
        const int woken = CUWaitAny({&m_AbortEvent, &m_StateChanged, &m_ClockEvent});
        OnWaitEnd();
        if (woken != 2) clock->Unadvise(cookie);
        clock->Release();
        if (woken == 2) {
            // On time: upstream hears that too, so a source that skips to catch up can stop.
            Quality q;
            q.Type = Famine;
            q.Late = -early;
            q.TimeStamp = start;
            SendQuality(q);
            return Render(pSample);
        }
        if (woken != 1) return Aborted();
        // Paused again or run with a new start time: schedule afresh.
    }
}

#include "filters/QueuedOutputPin.h"

#include <new>
#include <utility>

#include "filters/SoundSplitterFilter.h"
#include "filters/SoundSplitterInputPin.h"
#include "foundation/CUAutoLock.h"

namespace {

constexpr bool kAuto = false;  // always a thread, whether or not the peer's Receive blocks
constexpr bool kQueue = true;
constexpr int kBatchSize = 1;
constexpr bool kBatchExact = false;

}  // namespace

CQueuedOutputPin::CQueuedOutputPin(const char* objectName, CSoundSplitterFilter* filter,
                                   CURecursiveLock* lock, HRESULT* phr, const wchar_t* name)
    : CBaseOutputPin(objectName, filter, lock, phr, name), m_pSplitter(filter) {}

CQueuedOutputPin::~CQueuedOutputPin() {
    delete m_pOutputQueue;
}

HRESULT CQueuedOutputPin::Active() {
    if (!IsConnected()) return S_OK;
    if (!m_pAllocator) return VFW_E_NO_ALLOCATOR;
    HRESULT hr = m_pAllocator->Commit();
    if (FAILED(hr)) return hr;
    HRESULT queued = S_OK;
    auto* queue = new (std::nothrow)
        COutputQueue(GetConnected(), &queued, kAuto, kQueue, kBatchSize, kBatchExact);
    if (!queue) {
        queued = E_OUTOFMEMORY;
    } else if (FAILED(queued)) {
        delete queue;
        queue = nullptr;
    }
    COutputQueue* old = nullptr;
    {
        CUAutoLock receive(m_pSplitter->ReceiveLock());
        old = std::exchange(m_pOutputQueue, queue);
    }
    delete old;
    return queued;
}

HRESULT CQueuedOutputPin::Inactive() {
    const HRESULT hr = m_pAllocator ? m_pAllocator->Decommit() : VFW_E_NO_ALLOCATOR;
    COutputQueue* old = nullptr;
    {
        // The sample in progress is through once this lock is ours.
        CUAutoLock receive(m_pSplitter->ReceiveLock());
        old = std::exchange(m_pOutputQueue, nullptr);
    }
    delete old;
    return hr;
}

void CQueuedOutputPin::Decommit() {
    if (m_pAllocator) m_pAllocator->Decommit();
}

HRESULT CQueuedOutputPin::Deliver(IMediaSample* pSample) {
    if (!pSample) return E_INVALIDARG;
    if (!m_pOutputQueue) return S_OK;
    pSample->AddRef();  // the queue's
    int processed = 0;
    return m_pOutputQueue->ReceiveMultiple(&pSample, 1, &processed);
}

HRESULT CQueuedOutputPin::DeliverEndOfStream() {
    if (m_pOutputQueue) m_pOutputQueue->EOS();
    return S_OK;
}

HRESULT CQueuedOutputPin::DeliverBeginFlush() {
    if (m_pOutputQueue) m_pOutputQueue->BeginFlush();
    return S_OK;
}

HRESULT CQueuedOutputPin::DeliverEndFlush() {
    if (m_pOutputQueue) m_pOutputQueue->EndFlush();
    return S_OK;
}

HRESULT CQueuedOutputPin::DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop,
                                            double dRate) {
    if (m_pOutputQueue) m_pOutputQueue->NewSegment(tStart, tStop, dRate);
    return S_OK;
}

HRESULT CQueuedOutputPin::SetPool(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps,
                                  int32_t buffers, int32_t bufferSize) {
    if (!pAlloc || !pProps || !m_pSplitter) return E_POINTER;
    if (!m_pSplitter->InputPin() || !m_pSplitter->InputPin()->IsConnected()) return E_UNEXPECTED;
    pProps->cBuffers = buffers;
    pProps->cbBuffer = bufferSize;
    ALLOCATOR_PROPERTIES actual;
    return pAlloc->SetProperties(pProps, &actual);
}

#include "filters/PipelineWorker.h"

#include "foundation/CUAutoLock.h"

namespace {

// Holds a queue's lock for a scope.
class QueueLock {
public:
    explicit QueueLock(CMediaSampleQueue& queue) : queue(queue) { queue.Lock(); }
    ~QueueLock() { queue.Unlock(); }
    QueueLock(const QueueLock&) = delete;
    QueueLock& operator=(const QueueLock&) = delete;

private:
    CMediaSampleQueue& queue;
};

}  // namespace

CPipelineWorker::CPipelineWorker(const std::string& mutexName)
    : m_pQueue(new CMediaSampleQueue),
      m_pFlushDone(CUCreate<CUManualResetEvent>()),
      m_pWorkLock(CUCreate<CURecursiveLock>()),
      mutexName(mutexName) {}

CPipelineWorker::~CPipelineWorker() {
    StopAndJoin();
    DrainQueue(*m_pQueue);
    delete m_pQueue;
    delete m_pDeliverThread.exchange(nullptr);  // stops and joins the delivery thread
}

HRESULT CPipelineWorker::Receive(IMediaSample* sample) {
    if (!sample) return S_OK;
    m_pQueue->PushSample(sample);
    return S_OK;
}

HRESULT CPipelineWorker::EndOfStream() {
    QueueLock guard(*m_pQueue);
    m_pQueue->Push(kQueueEndOfStream);
    return S_OK;
}

HRESULT CPipelineWorker::BeginFlush() {
    if (m_pFlushDone) m_pFlushDone->Reset();
    m_bFlushing.store(1);
    m_pQueue->Push(kQueueFlush);
    if (CDeliverThread* deliver = m_pDeliverThread.load()) deliver->BeginFlush();
    return S_OK;
}

HRESULT CPipelineWorker::EndFlush() {
    // A worker that is going away (its stop event set) acknowledges nothing more: the wait ends
    // with it, so a flush that meets the filter's destruction cannot hang.
    if (m_pFlushDone) CUWaitAny({m_pFlushDone.Get(), &m_hStopEvent});
    m_bFlushing.store(0);
    if (CDeliverThread* deliver = m_pDeliverThread.load()) {
        deliver->FlushDone().Wait();
        deliver->OutputPin()->DeliverEndFlush();
    }
    return S_OK;
}

HRESULT CPipelineWorker::NewSegment(int64_t start, int64_t stop, double rate,
                                    const std::function<bool()>& filterStep) {
    QueueLock guard(*m_pQueue);
    DrainQueue(*m_pQueue);
    if (CDeliverThread* deliver = m_pDeliverThread.load()) DrainQueue(deliver->Queue());
    if (filterStep && !filterStep()) return S_OK;
    m_pQueue->PushNewSegment(start, stop, rate);
    return S_OK;
}

void CPipelineWorker::SetDeliverThread(CDeliverThread* thread) {
    CDeliverThread* old = m_pDeliverThread.exchange(thread);
    if (old != thread) delete old;
}

bool CPipelineWorker::TakeMachineMutex() {
    mutex = std::make_unique<CNamedMutex>(mutexName);
    if (!mutex->IsValid()) return true;  // no lock file: run without exclusion
    switch (mutex->Acquire(&m_hStopEvent)) {
        case S_OK:
            return true;
        case S_FALSE:
            return false;  // stopped while waiting
        default:
            return true;  // locking failed: run without exclusion
    }
}

void CPipelineWorker::ReleaseMachineMutex() {
    if (!mutex) return;
    mutex->Release();
    mutex.reset();
}

void CPipelineWorker::StopAndJoin() {
    if (joined) return;
    joined = true;
    m_bStop.store(1);
    m_pQueue->Close();
    m_hStopEvent.Set();
    Join();
}

QueueItem CPipelineWorker::TakeItem(std::unique_ptr<SegmentRecord>* segment) {
    m_pQueue->Lock();
    const QueueItem item = m_pQueue->Pop();
    if (item == kQueueNewSegment) segment->reset(CMediaSampleQueue::AsRecord(m_pQueue->Pop()));
    m_pQueue->Unlock();
    return item;
}

bool CPipelineWorker::AwaitItems() {
    if (m_bFlushing.load()) {
        DrainQueue(*m_pQueue);
        m_pFlushDone->Set();
    }
    m_pQueue->Wait();
    return !m_pQueue->IsClosed();
}

int CPipelineWorker::RunSampleLoop(const std::function<void(IMediaSample*)>& step) {
    const bool owner = TakeMachineMutex();
    while (owner && !m_bStop.load()) {
        std::unique_ptr<SegmentRecord> segment;
        const QueueItem item = TakeItem(&segment);
        if (item == kQueueNewSegment) {
            CDeliverThread* deliver = DeliverThread();
            if (segment && deliver) {
                CUAutoLock work(m_pWorkLock.Get());
                deliver->PostNewSegment(segment->start, segment->stop, segment->rate);
            }
        } else if (item == 0) {
            if (!AwaitItems()) break;
        } else if (item == kQueueEndOfStream) {
            if (CDeliverThread* deliver = DeliverThread()) {
                CUAutoLock work(m_pWorkLock.Get());
                deliver->PostEndOfStream();
            }
        } else if (item == kQueueFlush) {
            m_pFlushDone->Set();
        } else {
            IMediaSample* sample = CMediaSampleQueue::AsSample(item);
            step(sample);
            sample->Release();
        }
    }
    DrainQueue(*m_pQueue);
    ReleaseMachineMutex();
    return 0;
}

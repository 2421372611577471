#include "filters/DeliverThread.h"

CDeliverThread::CDeliverThread(CBaseOutputPin* outputPin)
    : m_pOutputPin(outputPin),
      m_pQueue(new CMediaSampleQueue),
      m_pFlushDone(CUCreate<CUManualResetEvent>()) {
    Start(nullptr);
}

CDeliverThread::~CDeliverThread() {
    m_bStop.store(1);
    m_pQueue->Close();
    Join();
    DrainQueue(*m_pQueue);
    delete m_pQueue;
}

void CDeliverThread::PostNewSegment(int64_t start, int64_t stop, double rate) {
    m_pQueue->PushNewSegment(start, stop, rate);  // the pair is pushed under the queue lock
}

void CDeliverThread::PostEndOfStream() {
    m_pQueue->Lock();
    m_pQueue->Push(kQueueEndOfStream);
    m_pQueue->Unlock();
}

void CDeliverThread::BeginFlush() {
    if (m_pFlushDone) m_pFlushDone->Reset();
    m_pQueue->Push(kQueueFlush);
    // Everything ahead of the marker goes; the marker itself is put back for Run to acknowledge
    // (unless Run took it already, in which case FlushDone is set).
    DrainQueue(*m_pQueue);
    m_pOutputPin->DeliverBeginFlush();
}

int CDeliverThread::Run() {
    if (m_bStop.load()) {
        DrainQueue(*m_pQueue);
        return 0;
    }
    do {
        // The event is auto-reset and every Push signals it, so a Push between the count and the
        // Wait leaves it set: no wake-up is lost. A spurious wake-up just pops 0.
        if (m_pQueue->GetCount() == 0) {
            m_pQueue->Wait();
            if (m_pQueue->IsClosed()) break;
        }
        if (m_bStop.load()) break;

        m_pQueue->Lock();
        const QueueItem item = m_pQueue->Pop();
        if (item == kQueueNewSegment) {
            SegmentRecord* record = CMediaSampleQueue::AsRecord(m_pQueue->Pop());
            m_pQueue->Unlock();
            if (record) m_pOutputPin->DeliverNewSegment(record->start, record->stop, record->rate);
            delete record;
            continue;
        }
        m_pQueue->Unlock();

        switch (item) {
            case 0:
                break;
            case kQueueEndOfStream:
                m_pOutputPin->DeliverEndOfStream();
                break;
            case kQueueFlush:
                if (m_pFlushDone) m_pFlushDone->Set();
                break;
            default: {
                IMediaSample* sample = CMediaSampleQueue::AsSample(item);
                m_pOutputPin->Deliver(sample);  // a refusal downstream changes nothing here
                sample->Release();
                break;
            }
        }
    } while (!m_bStop.load());
    DrainQueue(*m_pQueue);
    return 0;
}

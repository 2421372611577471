// CDeliverThread: the last stage of a filter's pipeline. It takes finished output samples and
// markers from its queue, in order, and hands them to the output pin: Deliver for a sample (the
// result is not looked at), DeliverNewSegment, DeliverEndOfStream; a flush marker sets
// FlushDone(). BeginFlush runs ahead of the queue: it drains it (the flush marker survives) and
// calls DeliverBeginFlush at once. CConvertDeliverThread is the same class under the convert
// filter's name.
// Threads: Post* and BeginFlush from the filter's worker or the upstream thread; Run on its own
// thread. Ownership: owns its queue; the output pin is not owned and outlives the thread.
// Lifetime: the constructor starts the thread; the destructor stops it (close, join), drains
// and deletes the queue.
#pragma once

#include <atomic>

#include "filters/MediaSampleQueue.h"
#include "foundation/CUManualResetEvent.h"
#include "foundation/CUThread.h"
#include "platform/BaseOutputPin.h"

class CDeliverThread : public CUThread {
public:
    explicit CDeliverThread(CBaseOutputPin* outputPin);
    ~CDeliverThread() override;

    // AddRef and queue a finished sample.
    void PostSample(IMediaSample* sample) { m_pQueue->PushSample(sample); }
    void PostNewSegment(int64_t start, int64_t stop, double rate);
    void PostEndOfStream();
    // Resets FlushDone, queues the flush marker, drains, and passes the begin-flush on at once.
    void BeginFlush();

    CUManualResetEvent& FlushDone() { return *m_pFlushDone; }
    CMediaSampleQueue& Queue() { return *m_pQueue; }
    CBaseOutputPin* OutputPin() const { return m_pOutputPin; }

    int Run() override;

private:
    CBaseOutputPin* const m_pOutputPin;  // not owned
    CMediaSampleQueue* const m_pQueue;   // owned
    std::atomic<uint32_t> m_bStop{0};
    CUSharedPtr<CUManualResetEvent> m_pFlushDone;
};

// The constructor starts the thread, whose body is the virtual Run: a subclass would rewrite the
// object's vtable while the thread may already call through it. Hence a name, not a subclass.
using CConvertDeliverThread = CDeliverThread;

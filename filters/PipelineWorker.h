// CPipelineWorker: what the workers of the decode, convert and resize filters share, and the
// filter entry points that feed them. The upstream thread only queues (Receive, EndOfStream,
// NewSegment); the worker (a subclass's Run) transforms and hands results to its delivery
// thread; flushes run ahead of the queues and EndFlush returns only when the worker and the
// delivery thread both reached their flush markers, so everything below is clean.
//
// One worker of a kind per machine: before anything else the subclass's Run takes the named
// mutex of its kind (TakeMachineMutex), which waits together with the stop event, and holds it
// until it ends (ReleaseMachineMutex). A second filter of the kind, in this process or another,
// therefore waits there, consuming nothing, until the first one is destroyed; destroying the
// waiting one is not held up, since the stop event ends its wait.
//
// Lifetime: the filter makes the worker at connection (Start runs the thread) and deletes it
// first in its destructor. Destruction: m_bStop, close the input queue, set the stop event, join,
// drain, delete the input queue, then the delivery thread. A subclass calls StopAndJoin() at the
// start of its own destructor, since Run uses the subclass's members; the base calls it again
// (a no-op then).
// Threads: entry points on the upstream thread; Run on the worker; m_bFlushing and m_bStop are
// atomics polled by the worker between steps. m_pWorkLock is taken by the worker only.
// Lock order: the input queue's lock, then the delivery queue's.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "filters/DeliverThread.h"
#include "filters/MediaSampleQueue.h"
#include "foundation/CUManualResetEvent.h"
#include "foundation/CURecursiveLock.h"
#include "foundation/CUThread.h"
#include "platform/NamedMutex.h"

class CPipelineWorker : public CUThread {
public:
    // `mutexName`: the machine-wide name of this kind of worker.
    explicit CPipelineWorker(const std::string& mutexName);
    ~CPipelineWorker() override;

    // Filter entry points. Receive AddRefs and queues (a null sample does nothing).
    HRESULT Receive(IMediaSample* sample);
    HRESULT EndOfStream();
    HRESULT BeginFlush();
    HRESULT EndFlush();
    // Under the input queue's lock: drain the input queue, drain the delivery queue, run
    // `filterStep` (the filter's own part; false: the segment goes no further), push -5 and the
    // record on the input queue.
    HRESULT NewSegment(int64_t start, int64_t stop, double rate,
                       const std::function<bool()>& filterStep = nullptr);

    // Adopts the delivery thread (made once, at connection).
    void SetDeliverThread(CDeliverThread* thread);
    CDeliverThread* DeliverThread() const { return m_pDeliverThread.load(); }
    CMediaSampleQueue& Queue() { return *m_pQueue; }
    const std::string& MutexName() const { return mutexName; }

protected:
    // Waits for the machine-wide mutex or the stop event; false when stopped first.
    bool TakeMachineMutex();
    void ReleaseMachineMutex();
    // Idempotent: the first half of destruction (stop, close, wake, join).
    void StopAndJoin();
    // Takes the next input item under the queue's lock; for a new segment `segment` gets the
    // record that follows it (the caller's; null when the queue held none).
    QueueItem TakeItem(std::unique_ptr<SegmentRecord>* segment);
    // For an empty queue: acknowledges a flush that waited for it to empty, then waits for work.
    // False once the queue is closed.
    bool AwaitItems();
    // The whole body of a worker that turns each sample into at most one output (the convert and
    // resize workers): the machine mutex around it; new segments and ends of stream passed on to
    // the delivery thread in order, under the work lock; flushes drained and acknowledged; each
    // sample handed to `step`, then released. Ends when stopped or the queue is closed.
    int RunSampleLoop(const std::function<void(IMediaSample*)>& step);

    std::atomic<CDeliverThread*> m_pDeliverThread{nullptr};  // owned
    CMediaSampleQueue* const m_pQueue;                       // owned
    CUSharedPtr<CUManualResetEvent> m_pFlushDone;
    std::atomic<uint32_t> m_bFlushing{0};
    std::atomic<uint32_t> m_bStop{0};
    CUSharedPtr<CULockAbstract> m_pWorkLock;  // a CURecursiveLock
    CUManualResetEvent m_hStopEvent;

private:
    const std::string mutexName;
    std::unique_ptr<CNamedMutex> mutex;  // made in TakeMachineMutex, on the worker
    bool joined = false;                 // destroying thread only
};

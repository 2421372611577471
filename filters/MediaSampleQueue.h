// CMediaSampleQueue: the queue between two stages of a filter's pipeline (upstream thread ->
// worker -> delivery thread). An item is a sample (the queue holds one reference) or a marker:
// end of stream, flush, or new segment followed by a SegmentRecord pointer. There is no capacity
// limit: the upstream allocator bounds the queue, since each queued sample holds one of its
// buffers.
//
// A -5 marker and its record are pushed with the lock held, so that a consumer holding the lock
// between its two Pops never sees half a pair. The event is auto-reset and signalled after every
// Push (also of 0) and on Close: a consumer that wakes empties the queue or checks the count
// before it waits again.
// Threads: any thread; `lock` (recursive) guards the items and is also taken from outside with
// Lock/Unlock to make several steps one. Lock order: an input queue before a delivery queue.
// Ownership: the queue holds a reference on each queued sample and owns queued SegmentRecords;
// Pop hands both to the caller. The destructor drains what is left.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "foundation/CUAutoResetEvent.h"
#include "foundation/CURecursiveLock.h"
#include "platform/MediaSample.h"

struct SegmentRecord {
    int64_t start = 0;  // 100-ns units
    int64_t stop = 0;
    double rate = 1.0;
};

// A queue item: a sample pointer, a marker, or (for the item after kQueueNewSegment) a
// SegmentRecord pointer. 0 is never stored: Pop gives 0 when the queue is empty.
using QueueItem = intptr_t;
inline constexpr QueueItem kQueueEndOfStream = -3;
inline constexpr QueueItem kQueueFlush = -4;
inline constexpr QueueItem kQueueNewSegment = -5;

class CMediaSampleQueue {
public:
    CMediaSampleQueue();
    virtual ~CMediaSampleQueue();
    CMediaSampleQueue(const CMediaSampleQueue&) = delete;
    CMediaSampleQueue& operator=(const CMediaSampleQueue&) = delete;

    // Appends a non-zero item under the lock; signals the event in every case.
    void Push(QueueItem item);
    // Removes and gives the front item, or 0.
    QueueItem Pop();
    size_t GetCount();
    void Lock() { lock.Lock(); }
    void Unlock() { lock.Unlock(); }
    // Waits on the event without a time limit.
    void Wait();
    // Sets the closed mark (never cleared) and signals.
    void Close();
    bool IsClosed() const { return closed.load(); }

    // With the lock held by the caller (late-input walks): the item at `index` without removing
    // it (0 past the end), and its removal (the caller then owns what it held).
    QueueItem PeekAt(size_t index);
    QueueItem RemoveAt(size_t index);

    // Convenience for the stages: AddRef and push a sample; push -5 and a new record as one
    // step under the lock; push -3.
    void PushSample(IMediaSample* sample);
    void PushNewSegment(int64_t start, int64_t stop, double rate);
    void PushEndOfStream() { Push(kQueueEndOfStream); }

    static bool IsMarker(QueueItem item) {
        return item == kQueueEndOfStream || item == kQueueFlush || item == kQueueNewSegment;
    }
    static IMediaSample* AsSample(QueueItem item) { return reinterpret_cast<IMediaSample*>(item); }
    static SegmentRecord* AsRecord(QueueItem item) {
        return reinterpret_cast<SegmentRecord*>(item);
    }

private:
    CURecursiveLock lock;
    CUAutoResetEvent event{false};
    std::vector<QueueItem> items;  // guarded by `lock`; front is index 0
    std::atomic<bool> closed{false};
};

// Empties `queue` under its lock: end-of-stream markers are dropped, samples released, segment
// records freed; a flush marker is put back (and signalled), since it must still reach the thread
// that acknowledges it.
void DrainQueue(CMediaSampleQueue& queue);

#include "filters/MediaSampleQueue.h"

#include <mutex>

CMediaSampleQueue::CMediaSampleQueue() = default;

CMediaSampleQueue::~CMediaSampleQueue() {
    DrainQueue(*this);
}

void CMediaSampleQueue::Push(QueueItem item) {
    if (item != 0) {
        std::lock_guard<CURecursiveLock> guard(lock);
        items.push_back(item);
    }
    event.Set();
}

QueueItem CMediaSampleQueue::Pop() {
    std::lock_guard<CURecursiveLock> guard(lock);
    if (items.empty()) return 0;
    const QueueItem item = items.front();
    items.erase(items.begin());
    return item;
}

size_t CMediaSampleQueue::GetCount() {
    std::lock_guard<CURecursiveLock> guard(lock);
    return items.size();
}

void CMediaSampleQueue::Wait() {
    event.Wait();
}

void CMediaSampleQueue::Close() {
    closed.store(true);
    event.Set();
}

QueueItem CMediaSampleQueue::PeekAt(size_t index) {
    std::lock_guard<CURecursiveLock> guard(lock);
    return index < items.size() ? items[index] : 0;
}

QueueItem CMediaSampleQueue::RemoveAt(size_t index) {
    std::lock_guard<CURecursiveLock> guard(lock);
    if (index >= items.size()) return 0;
    const QueueItem item = items[index];
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(index));
    return item;
}

void CMediaSampleQueue::PushSample(IMediaSample* sample) {
    if (sample) sample->AddRef();
    Push(reinterpret_cast<QueueItem>(sample));
}

void CMediaSampleQueue::PushNewSegment(int64_t start, int64_t stop, double rate) {
    auto* record = new SegmentRecord{start, stop, rate};
    std::lock_guard<CURecursiveLock> guard(lock);
    Push(kQueueNewSegment);
    Push(reinterpret_cast<QueueItem>(record));
}

void DrainQueue(CMediaSampleQueue& queue) {
    queue.Lock();
    bool flushPending = false;
    for (QueueItem item = queue.Pop(); item != 0; item = queue.Pop()) {
        switch (item) {
            case kQueueEndOfStream:
                break;
            case kQueueFlush:
                flushPending = true;
                break;
            case kQueueNewSegment:
                delete CMediaSampleQueue::AsRecord(queue.Pop());
                break;
            default:
                CMediaSampleQueue::AsSample(item)->Release();
                break;
        }
    }
    if (flushPending) queue.Push(kQueueFlush);
    queue.Unlock();
}

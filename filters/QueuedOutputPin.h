// CQueuedOutputPin: what the sound splitter's two output pins share: while active, each hands its
// samples and stream events to a COutputQueue of its own (a thread, batches of 1), so that a slow
// filter behind one pin does not hold up the other until its pool runs out.
//
// Active commits the pool and makes a new queue on the connected pin; Inactive decommits the pool
// and destroys the queue, whose thread stops and whose queued samples are released unsent.
// Deliver adds a reference for the queue; without a queue (inactive) Deliver and the Deliver*
// calls do nothing and succeed.
// Threads: the queue is replaced under the filter lock and the splitter's receive lock; Deliver,
// DeliverEndOfStream and DeliverNewSegment run under the receive lock, DeliverBeginFlush under the
// filter lock, DeliverEndFlush under both. Ownership: owned by the splitter; owns its queue.
// Failures: Active answers VFW_E_NO_ALLOCATOR without an allocator, the pool's Commit failure,
// the queue's failure or E_OUTOFMEMORY; Inactive VFW_E_NO_ALLOCATOR or the Decommit result;
// Deliver E_INVALIDARG for a null sample, else the queue's answer.
#pragma once

#include "platform/BaseOutputPin.h"
#include "platform/OutputQueue.h"

class CSoundSplitterFilter;

class CQueuedOutputPin : public CBaseOutputPin {
public:
    CQueuedOutputPin(const char* objectName, CSoundSplitterFilter* filter, CURecursiveLock* lock,
                     HRESULT* phr, const wchar_t* name);
    ~CQueuedOutputPin() override;

    HRESULT Active() override;
    HRESULT Inactive() override;
    HRESULT Deliver(IMediaSample* pSample) override;
    HRESULT DeliverEndOfStream() override;
    HRESULT DeliverBeginFlush() override;
    HRESULT DeliverEndFlush() override;
    HRESULT DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override;

    // Makes a buffer request waiting on this pin's pool give up; Stop calls it before Inactive.
    void Decommit();
    bool HasAllocator() const { return m_pAllocator != nullptr; }

protected:
    // The pool of both pins, once the splitter's input is connected: E_POINTER for null
    // arguments, E_UNEXPECTED while the input is not connected, else the allocator's answer.
    HRESULT SetPool(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pProps, int32_t buffers,
                    int32_t bufferSize);

    CSoundSplitterFilter* const m_pSplitter;  // owns the pin

private:
    COutputQueue* m_pOutputQueue = nullptr;  // owned; see Threads
};

// COutputQueue: a queue in front of one downstream input pin, so that an output pin can hand
// samples on without waiting for the downstream filter.
//
// With a thread (bQueue, or bAuto and a downstream Receive that may block), Receive, EOS and
// NewSegment append to the queue and the queue's thread delivers in the order queued: samples in
// batches through ReceiveMultiple, end of stream and new segment as they come. A batch holds up
// to lBatchSize samples: with bBatchExact false the thread sends what is queued as soon as it is
// free (batch size 1: each sample as soon as it is queued); with bBatchExact true it waits until
// a batch is full, unless an end of stream or new segment follows or the queue is flushed or
// destroyed. Without a thread every call is passed on at once in the caller's thread. The queue's
// length is not bounded: the allocator's pool bounds it. Thread priorities are the system's
// default.
// BeginFlush drops (and releases) everything queued and passes BeginFlush to the pin at once;
// until EndFlush samples are released without delivery (S_FALSE) and end of stream is dropped.
// EndFlush waits until the thread is idle (the delivery it was in, which the flushing pin refuses,
// is over), passes EndFlush on and clears the last failure. Once a delivery failed (not S_OK and
// not S_FALSE), Receive releases further samples and answers that failure until EndFlush. Threads:
// every call comes from the upstream streaming thread except BeginFlush/EndFlush (the controlling
// thread); `lock` guards the queue and the state; the pin is called without it. Ownership: Receive
// and ReceiveMultiple take over the caller's reference on each sample. The queue references the
// pin. The destructor releases what is still queued and joins the thread, which first finishes the
// delivery it is in (stop or flush downstream to end one that blocks). Failures: *phr gets
// E_POINTER for a null pin, E_NOINTERFACE for a pin without IMemInputPin; calls answer the last
// delivery failure, S_FALSE while flushing.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/MediaSample.h"
#include "platform/MemInputPin.h"
#include "platform/Pin.h"

class COutputQueue {
public:
    COutputQueue(IPin* pInputPin, HRESULT* phr, bool bAuto = false, bool bQueue = true,
                 int lBatchSize = 1, bool bBatchExact = false);
    ~COutputQueue();
    COutputQueue(const COutputQueue&) = delete;
    COutputQueue& operator=(const COutputQueue&) = delete;

    HRESULT Receive(IMediaSample* pSample);
    // *nSamplesProcessed: how many were taken over (all of them).
    HRESULT ReceiveMultiple(IMediaSample** ppSamples, int nSamples, int* nSamplesProcessed);
    void EOS();
    void NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate);
    void BeginFlush();
    void EndFlush();
    // Nothing queued and nothing being delivered.
    bool IsIdle();
    bool IsQueued() const { return threaded; }

private:
    struct Item {
        enum Kind { Sample, EndOfStream, Segment } kind;
        IMediaSample* sample;  // referenced, for Sample
        REFERENCE_TIME start, stop;
        double rate;
    };

    void ThreadProc();
    // Under `lock`: the thread has something to send.
    bool ReadyToSend() const;
    // Under `lock`: releases every queued sample.
    void DropQueued();
    HRESULT Deliver(std::vector<IMediaSample*>& batch);

    IPin* pin = nullptr;               // referenced
    IMemInputPin* inputPin = nullptr;  // referenced
    const int batchSize;
    const bool batchExact;
    bool threaded = false;  // set by the constructor: a thread delivers

    std::mutex lock;
    std::condition_variable wake;  // with `lock`: work for the thread
    std::condition_variable idle;  // with `lock`: the thread finished a delivery
    std::deque<Item> queue;        // guarded by `lock`
    bool busy = false;             // guarded by `lock`: the thread is delivering
    bool flushing = false;         // guarded by `lock`
    bool terminate = false;        // guarded by `lock`
    HRESULT lastFailure = S_OK;    // guarded by `lock`
    std::thread worker;            // set by the constructor, joined by the destructor
};

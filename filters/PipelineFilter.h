// CPipelineFilter: what the decode, resize and convert filters share — their samples go through a
// pipeline worker (CPipelineWorker), made at connection. The streaming entry points only hand
// over to the worker (nothing happens before it exists); Transform is never called.
// Lifetime: a subclass deletes the worker first thing in its own destructor (DeleteWorker), since
// the worker's thread reads the subclass's members; the base does it again, a no-op by then.
// Threads: the entry points as CTransformFilter's; m_pThread is set once on the connecting thread
// and read by the streaming threads.
#pragma once

#include <atomic>

#include "platform/TransformFilter.h"

template <class WorkerT>
class CPipelineFilter : public CTransformFilter {
public:
    using CTransformFilter::CTransformFilter;
    ~CPipelineFilter() override { DeleteWorker(); }

    HRESULT Transform(IMediaSample*, IMediaSample*) override {
        return E_UNEXPECTED;  // samples go through the worker, never through here
    }
    HRESULT Receive(IMediaSample* pSample) override {
        WorkerT* worker = m_pThread.load();
        return worker ? worker->Receive(pSample) : S_OK;
    }
    HRESULT EndOfStream() override {
        WorkerT* worker = m_pThread.load();
        return worker ? worker->EndOfStream() : S_OK;
    }
    HRESULT BeginFlush() override {
        WorkerT* worker = m_pThread.load();
        return worker ? worker->BeginFlush() : S_OK;
    }
    HRESULT EndFlush() override {
        WorkerT* worker = m_pThread.load();
        return worker ? worker->EndFlush() : S_OK;
    }
    HRESULT NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) override {
        WorkerT* worker = m_pThread.load();
        return worker ? worker->NewSegment(tStart, tStop, dRate) : S_OK;
    }

    // For tests and the host.
    WorkerT* Worker() const { return m_pThread.load(); }

protected:
    void DeleteWorker() { delete m_pThread.exchange(nullptr); }

    std::atomic<WorkerT*> m_pThread{nullptr};  // owned
};

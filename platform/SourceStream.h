// CSourceStream: an output pin with a worker thread that fills and delivers samples.
//
// Active commits the pool, starts the worker, sends it init (OnThreadCreate) and pause;
// Inactive decommits the pool (so a worker waiting in GetDeliveryBuffer comes back), sends stop
// and exit and joins the worker. The worker obeys commands init, pause, run, stop, exit, each
// answered before the caller goes on. On pause or run it enters DoBufferProcessingLoop: it calls
// OnThreadStartPlay, then, until a command comes, takes a buffer (on failure it waits 1 ms and
// tries again), lets FillBuffer fill it and delivers it. S_FALSE from FillBuffer ends the
// stream: the worker delivers end of stream and waits for a command; a failure first reports
// EC_ERRORABORT to the graph, then does the same; a delivery that is not S_OK (a refusal while
// flushing, a stopped peer) ends the loop too. On stop the loop ends and the command is
// answered; on exit the thread ends (OnThreadDestroy). A worker blocked inside a downstream
// Receive is not woken by Inactive: the caller flushes downstream first (begin flush, stop, end
// flush), so that Receive returns.
// Threads: the Active/Inactive and command calls come from the controlling thread (the filter
// lock held or not), one at a time (`accessLock`); FillBuffer and the hooks run on the worker,
// which never takes the filter lock. The command slot is guarded by `commandLock`.
// Failures: E_FAIL when the worker cannot start; E_UNEXPECTED from a command sent without a
// worker or one the worker does not know; the result of OnThreadCreate from init.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "foundation/CUEventWaitHandle.h"
#include "foundation/CUManualResetEvent.h"
#include "foundation/CUThread.h"
#include "platform/BaseOutputPin.h"
#include "platform/Source.h"

class CSourceStream : public CBaseOutputPin {
public:
    enum Command : uint32_t { CMD_INIT, CMD_PAUSE, CMD_RUN, CMD_STOP, CMD_EXIT };

    CSourceStream(const char* objectName, HRESULT* phr, CSource* filter, const wchar_t* pinName);
    ~CSourceStream() override;

    HRESULT Active() override;
    HRESULT Inactive() override;

    // Commands to the worker; each waits for its answer.
    HRESULT Init() { return CallWorker(CMD_INIT); }
    HRESULT Exit() { return CallWorker(CMD_EXIT); }
    HRESULT RunWorker() { return CallWorker(CMD_RUN); }
    HRESULT PauseWorker() { return CallWorker(CMD_PAUSE); }
    HRESULT StopWorker() { return CallWorker(CMD_STOP); }
    bool ThreadExists();
    // For a thread other than the controlling one (a seek): the command goes to the worker only
    // when it exists, under the lock that Active and Inactive hold while they make or end it.
    // S_OK when there is no worker.
    HRESULT StopWorkerIfRunning() { return CommandIfThreadExists(CMD_STOP); }
    HRESULT RunWorkerIfExists() { return CommandIfThreadExists(CMD_RUN); }

protected:
    // S_OK: deliver the sample; S_FALSE: end of stream; a failure: the stream aborts.
    virtual HRESULT FillBuffer(IMediaSample* pSample) = 0;
    virtual HRESULT OnThreadCreate() { return S_OK; }
    virtual HRESULT OnThreadDestroy() { return S_OK; }
    virtual HRESULT OnThreadStartPlay() { return S_OK; }
    virtual HRESULT DoBufferProcessingLoop();
    // The worker's body: answers commands until exit.
    virtual uint32_t ThreadProc();

    // For the worker.
    Command GetRequest();
    bool CheckRequest(Command* pCommand);
    void Reply(HRESULT result);

    CSource* const m_pFilter;

private:
    class Worker final : public CUThread {
    public:
        explicit Worker(CSourceStream& pin) : pin(pin) {}
        ~Worker() override { Join(); }
        int Run() override { return static_cast<int>(pin.ThreadProc()); }

    private:
        CSourceStream& pin;
    };

    HRESULT CallWorker(Command command);
    HRESULT CommandIfThreadExists(Command command);

    std::mutex threadLock;             // guards the making and ending of `worker`; before accessLock
    std::mutex accessLock;             // one command at a time
    std::mutex commandLock;            // guards `command` and `result`
    Command command = CMD_INIT;        // guarded by commandLock
    HRESULT result = S_OK;             // guarded by commandLock
    CUManualResetEvent eventSend;      // a command waits; reset by Reply
    CUManualResetEvent eventComplete;  // the answer is there; reset by CallWorker
    std::unique_ptr<Worker> worker;    // guarded by threadLock
};

#include "platform/SourceStream.h"

#include <chrono>
#include <new>
#include <thread>

#include "platform/MediaEvent.h"

CSourceStream::CSourceStream(const char* objectName, HRESULT* phr, CSource* filter,
                             const wchar_t* pinName)
    : CBaseOutputPin(objectName, filter, filter ? filter->pStateLock() : nullptr, phr, pinName),
      m_pFilter(filter) {
    if (!filter) return;
    const HRESULT hr = filter->AddPin(this);
    if (phr && FAILED(hr) && SUCCEEDED(*phr)) *phr = hr;
}

CSourceStream::~CSourceStream() {
    {
        // The filter lock comes before the thread lock (Active and Inactive run under it), so
        // the thread lock is let go before the pin leaves the filter's list.
        std::lock_guard<std::mutex> guard(threadLock);
        if (worker) {
            CallWorker(CMD_STOP);
            CallWorker(CMD_EXIT);
            worker.reset();
        }
    }
    if (m_pFilter) m_pFilter->RemovePin(this);
}

HRESULT CSourceStream::Active() {
    std::lock_guard<std::mutex> guard(threadLock);
    if (worker) return S_OK;  // active already
    HRESULT hr = CBaseOutputPin::Active();
    if (FAILED(hr)) return hr;
    worker.reset(new (std::nothrow) Worker(*this));
    if (!worker) return E_FAIL;
    worker->Start(nullptr);
    hr = Init();
    if (FAILED(hr)) {
        Exit();
        worker.reset();
        return hr;
    }
    return PauseWorker();
}

HRESULT CSourceStream::Inactive() {
    // Decommitting first brings back a worker that waits for a buffer.
    const HRESULT hr = CBaseOutputPin::Inactive();
    std::lock_guard<std::mutex> guard(threadLock);
    if (worker) {
        StopWorker();
        Exit();
        worker.reset();  // joins
    }
    return hr;
}

bool CSourceStream::ThreadExists() {
    std::lock_guard<std::mutex> guard(threadLock);
    return worker != nullptr;
}

HRESULT CSourceStream::CommandIfThreadExists(Command cmd) {
    std::lock_guard<std::mutex> guard(threadLock);
    return worker ? CallWorker(cmd) : S_OK;
}

HRESULT CSourceStream::CallWorker(Command cmd) {
    std::lock_guard<std::mutex> access(accessLock);
    if (!worker) return E_UNEXPECTED;
    {
        std::lock_guard<std::mutex> guard(commandLock);
        command = cmd;
    }
    eventComplete.Reset();
    eventSend.Set();
    eventComplete.Wait();
    std::lock_guard<std::mutex> guard(commandLock);
    return result;
}

CSourceStream::Command CSourceStream::GetRequest() {
    eventSend.Wait();
    std::lock_guard<std::mutex> guard(commandLock);
    return command;
}

bool CSourceStream::CheckRequest(Command* pCommand) {
    CUEventWaitHandle* const events[] = {&eventSend};
    if (CUWaitAny(events, std::chrono::milliseconds(0)) != 0) return false;
    std::lock_guard<std::mutex> guard(commandLock);
    if (pCommand) *pCommand = command;
    return true;
}

void CSourceStream::Reply(HRESULT hr) {
    {
        std::lock_guard<std::mutex> guard(commandLock);
        result = hr;
    }
    eventSend.Reset();
    eventComplete.Set();
}

uint32_t CSourceStream::ThreadProc() {
    for (;;) {
        const Command cmd = GetRequest();
        switch (cmd) {
            case CMD_INIT:
                Reply(OnThreadCreate());
                break;
            case CMD_EXIT:
                OnThreadDestroy();
                Reply(S_OK);
                return 0;
            case CMD_PAUSE:
            case CMD_RUN:
                Reply(S_OK);
                DoBufferProcessingLoop();
                break;
            case CMD_STOP:
                Reply(S_OK);
                break;
            default:
                Reply(E_UNEXPECTED);
                break;
        }
    }
}

HRESULT CSourceStream::DoBufferProcessingLoop() {
    OnThreadStartPlay();
    Command cmd = CMD_INIT;
    do {
        while (!CheckRequest(&cmd)) {
            IMediaSample* sample = nullptr;
            HRESULT hr = GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
            if (FAILED(hr)) {
                // The pool is decommitted or empty for now: try again shortly, seeing commands.
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            hr = FillBuffer(sample);
            if (hr == S_OK) {
                hr = Deliver(sample);
                sample->Release();
                if (hr != S_OK) return S_OK;  // refused downstream: wait for a command
            } else if (hr == S_FALSE) {
                sample->Release();
                DeliverEndOfStream();
                return S_OK;
            } else {
                sample->Release();
                // The graph hears of the failure before downstream sees the stream end, so a
                // host woken by the renderer's completion already finds the abort.
                m_pFilter->NotifyEvent(EC_ERRORABORT, hr, 0);
                DeliverEndOfStream();
                return hr;
            }
        }
        if (cmd == CMD_RUN || cmd == CMD_PAUSE) {
            Reply(S_OK);
        } else if (cmd != CMD_STOP) {
            Reply(E_UNEXPECTED);
        }
    } while (cmd != CMD_STOP);
    return S_FALSE;
}

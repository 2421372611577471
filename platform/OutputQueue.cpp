#include "platform/OutputQueue.h"

#include <algorithm>

COutputQueue::COutputQueue(IPin* pInputPin, HRESULT* phr, bool bAuto, bool bQueue, int lBatchSize,
                           bool bBatchExact)
    : pin(pInputPin), batchSize(std::max(lBatchSize, 1)), batchExact(bBatchExact) {
    HRESULT hr = S_OK;
    if (!pin) {
        hr = E_POINTER;
    } else {
        pin->AddRef();
        if (FAILED(pin->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&inputPin)))) {
            inputPin = nullptr;
            hr = E_NOINTERFACE;
        }
    }
    if (SUCCEEDED(hr)) {
        threaded = bAuto ? inputPin->ReceiveCanBlock() == S_OK : bQueue;
        if (threaded) worker = std::thread([this] { ThreadProc(); });
    }
    if (phr && FAILED(hr) && SUCCEEDED(*phr)) *phr = hr;
}

COutputQueue::~COutputQueue() {
    {
        std::lock_guard<std::mutex> guard(lock);
        terminate = true;
        DropQueued();
    }
    wake.notify_all();
    if (worker.joinable()) worker.join();
    if (inputPin) inputPin->Release();
    if (pin) pin->Release();
}

void COutputQueue::DropQueued() {
    for (Item& item : queue) {
        if (item.kind == Item::Sample) item.sample->Release();
    }
    queue.clear();
}

bool COutputQueue::ReadyToSend() const {
    if (queue.empty()) return false;
    if (!batchExact || queue.front().kind != Item::Sample) return true;
    int samples = 0;
    for (const Item& item : queue) {
        if (item.kind != Item::Sample) return true;  // an event closes the batch
        if (++samples >= batchSize) return true;
    }
    return false;
}

HRESULT COutputQueue::Deliver(std::vector<IMediaSample*>& batch) {
    int32_t done = 0;
    const HRESULT hr =
        inputPin->ReceiveMultiple(batch.data(), static_cast<int32_t>(batch.size()), &done);
    for (IMediaSample* sample : batch) sample->Release();
    batch.clear();
    return hr;
}

void COutputQueue::ThreadProc() {
    std::vector<IMediaSample*> batch;
    std::unique_lock<std::mutex> guard(lock);
    for (;;) {
        wake.wait(guard, [this] { return terminate || ReadyToSend(); });
        if (terminate) return;
        Item event{Item::Sample, nullptr, 0, 0, 0.0};
        while (!queue.empty() && queue.front().kind == Item::Sample &&
               static_cast<int>(batch.size()) < batchSize) {
            batch.push_back(queue.front().sample);
            queue.pop_front();
        }
        if (batch.empty()) {
            event = queue.front();
            queue.pop_front();
        }
        busy = true;
        guard.unlock();

        HRESULT hr = S_OK;
        if (!batch.empty()) {
            hr = Deliver(batch);
        } else if (event.kind == Item::EndOfStream) {
            pin->EndOfStream();
        } else {
            pin->NewSegment(event.start, event.stop, event.rate);
        }

        guard.lock();
        busy = false;
        if (FAILED(hr) && !flushing) lastFailure = hr;
        idle.notify_all();
    }
}

HRESULT COutputQueue::Receive(IMediaSample* pSample) {
    int processed = 0;
    return ReceiveMultiple(&pSample, 1, &processed);
}

HRESULT COutputQueue::ReceiveMultiple(IMediaSample** ppSamples, int nSamples,
                                      int* nSamplesProcessed) {
    if (!ppSamples || !nSamplesProcessed) return E_POINTER;
    *nSamplesProcessed = nSamples;
    HRESULT refusal = S_OK;
    {
        std::lock_guard<std::mutex> guard(lock);
        if (flushing) {
            refusal = S_FALSE;
        } else if (FAILED(lastFailure)) {
            refusal = lastFailure;
        } else if (threaded) {
            for (int i = 0; i < nSamples; ++i) {
                queue.push_back(Item{Item::Sample, ppSamples[i], 0, 0, 0.0});
            }
        }
        if (refusal == S_OK && threaded) {
            wake.notify_one();
            return S_OK;
        }
    }
    if (refusal != S_OK) {
        for (int i = 0; i < nSamples; ++i) ppSamples[i]->Release();
        return refusal;
    }
    // No thread: deliver here.
    std::vector<IMediaSample*> batch(ppSamples, ppSamples + nSamples);
    const HRESULT hr = Deliver(batch);
    std::lock_guard<std::mutex> guard(lock);
    if (FAILED(hr) && !flushing) lastFailure = hr;
    return hr;
}

void COutputQueue::EOS() {
    {
        std::lock_guard<std::mutex> guard(lock);
        if (flushing) return;
        if (threaded) {
            queue.push_back(Item{Item::EndOfStream, nullptr, 0, 0, 0.0});
            wake.notify_one();
            return;
        }
    }
    pin->EndOfStream();
}

void COutputQueue::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    {
        std::lock_guard<std::mutex> guard(lock);
        if (threaded) {
            queue.push_back(Item{Item::Segment, nullptr, tStart, tStop, dRate});
            wake.notify_one();
            return;
        }
    }
    pin->NewSegment(tStart, tStop, dRate);
}

void COutputQueue::BeginFlush() {
    {
        std::lock_guard<std::mutex> guard(lock);
        flushing = true;
        DropQueued();
    }
    pin->BeginFlush();
}

void COutputQueue::EndFlush() {
    {
        std::unique_lock<std::mutex> guard(lock);
        idle.wait(guard, [this] { return !busy; });
    }
    pin->EndFlush();
    std::lock_guard<std::mutex> guard(lock);
    flushing = false;
    lastFailure = S_OK;
}

bool COutputQueue::IsIdle() {
    std::lock_guard<std::mutex> guard(lock);
    return queue.empty() && !busy;
}

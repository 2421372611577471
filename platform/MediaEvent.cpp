#include "platform/MediaEvent.h"

#include <chrono>
#include <new>

CMediaEventQueue::CMediaEventQueue(IUnknown* outer) : CUnknown("CMediaEventQueue", outer) {}

HRESULT CMediaEventQueue::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMediaEventSink) return GetInterface<IMediaEventSink>(this, ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CMediaEventQueue::Notify(long eventCode, LONG_PTR param1, LONG_PTR param2) {
    {
        std::lock_guard guard(lock);
        try {
            events.push_back(Event{eventCode, param1, param2});
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        ready.Set();
    }
    arrived.notify_one();
    return S_OK;
}

HRESULT CMediaEventQueue::GetEvent(long* eventCode, LONG_PTR* param1, LONG_PTR* param2,
                                   long timeoutMs) {
    if (!eventCode || !param1 || !param2) return E_POINTER;
    std::unique_lock guard(lock);
    const auto hasEvent = [this] { return !events.empty(); };
    if (timeoutMs < 0) {
        arrived.wait(guard, hasEvent);
    } else if (!arrived.wait_for(guard, std::chrono::milliseconds(timeoutMs), hasEvent)) {
        return E_ABORT;
    }
    const Event event = events.front();
    events.pop_front();
    if (events.empty()) ready.Reset();
    *eventCode = event.code;
    *param1 = event.param1;
    *param2 = event.param2;
    return S_OK;
}

void CMediaEventQueue::Clear() {
    std::lock_guard guard(lock);
    events.clear();
    ready.Reset();
}

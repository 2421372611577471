#include "platform/FilterGraph.h"

#include <algorithm>
#include <chrono>
#include <map>

namespace {

bool IsRenderer(CBaseFilter* filter) {
    const int count = filter->GetPinCount();
    if (count == 0) return false;
    for (int i = 0; i < count; ++i) {
        PIN_DIRECTION dir = PINDIR_INPUT;
        CBasePin* pin = filter->GetPin(i);
        if (pin == nullptr || pin->QueryDirection(&dir) != S_OK || dir != PINDIR_INPUT)
            return false;
    }
    return true;
}

PIN_DIRECTION DirectionOf(IPin* pin) {
    PIN_DIRECTION dir = PINDIR_INPUT;
    pin->QueryDirection(&dir);
    return dir;
}

}  // namespace

HRESULT CFilterGraph::Sink::QueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (riid == IID_IMediaEventSink || riid == IID_IUnknown) {
        *ppv = static_cast<IMediaEventSink*>(this);
        return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
}

HRESULT CFilterGraph::Sink::Notify(long eventCode, LONG_PTR param1, LONG_PTR param2) {
    // Queued before it is counted, so that a host woken by WaitForCompletion finds the event.
    const HRESULT queued = graph.queue->Notify(eventCode, param1, param2);
    std::lock_guard<std::mutex> guard(graph.eventLock);
    if (eventCode == EC_COMPLETE) {
        ++graph.completes;
    } else if (eventCode == EC_ERRORABORT && !graph.aborted) {
        graph.aborted = true;
        const auto result = static_cast<HRESULT>(param1);
        graph.abortResult = FAILED(result) ? result : E_FAIL;
    }
    graph.eventChanged.notify_all();
    return queued;
}

CFilterGraph::CFilterGraph() : clock(new CSystemClock), queue(new CMediaEventQueue) {
    clock->AddRef();
    queue->AddRef();
}

CFilterGraph::~CFilterGraph() {
    std::lock_guard<std::mutex> guard(lock);
    StopLocked();
    for (Entry& entry : filters) {
        entry.filter->SetSyncSource(nullptr);
        entry.filter->JoinFilterGraph(nullptr);
    }
    // Break the connections so that no pin keeps a reference on a peer's filter.
    for (Entry& entry : filters) {
        for (int i = 0; i < entry.filter->GetPinCount(); ++i) {
            CBasePin* pin = entry.filter->GetPin(i);
            if (pin != nullptr && pin->IsConnected()) pin->Disconnect();
        }
    }
    for (Entry& entry : filters) entry.filter->Release();
    filters.clear();
    queue->Release();
    clock->Release();
}

HRESULT CFilterGraph::AddFilter(CBaseFilter* filter, const wchar_t* name) {
    if (filter == nullptr) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    for (const Entry& entry : filters)
        if (entry.filter == filter) return E_INVALIDARG;
    filters.push_back(Entry{filter, name != nullptr ? name : L""});
    filter->AddRef();
    const HRESULT hr = filter->JoinFilterGraph(&sink);
    if (FAILED(hr)) {
        filters.pop_back();
        filter->Release();
    }
    return hr;
}

HRESULT CFilterGraph::RemoveFilter(CBaseFilter* filter) {
    if (filter == nullptr) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    if (state != State_Stopped) return VFW_E_WRONG_STATE;
    auto it = std::find_if(filters.begin(), filters.end(),
                           [&](const Entry& entry) { return entry.filter == filter; });
    if (it == filters.end()) return E_INVALIDARG;
    for (int i = 0; i < filter->GetPinCount(); ++i) {
        CBasePin* pin = filter->GetPin(i);
        if (pin == nullptr || !pin->IsConnected()) continue;
        IPin* peer = pin->GetConnected();
        peer->AddRef();
        peer->Disconnect();
        pin->Disconnect();
        peer->Release();
    }
    filter->SetSyncSource(nullptr);
    filter->JoinFilterGraph(nullptr);
    filters.erase(it);
    filter->Release();
    return S_OK;
}

CBaseFilter* CFilterGraph::OwnerOf(IPin* pin) {
    for (const Entry& entry : filters) {
        for (int i = 0; i < entry.filter->GetPinCount(); ++i) {
            if (static_cast<IPin*>(entry.filter->GetPin(i)) == pin) return entry.filter;
        }
    }
    return nullptr;
}

HRESULT CFilterGraph::ConnectDirect(IPin* outputPin, IPin* inputPin,
                                    const AM_MEDIA_TYPE* mediaType) {
    if (outputPin == nullptr || inputPin == nullptr) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    if (state != State_Stopped) return VFW_E_WRONG_STATE;
    if (OwnerOf(outputPin) == nullptr || OwnerOf(inputPin) == nullptr) return E_INVALIDARG;
    if (DirectionOf(outputPin) != PINDIR_OUTPUT || DirectionOf(inputPin) != PINDIR_INPUT)
        return E_INVALIDARG;
    for (IPin* pin : {outputPin, inputPin}) {
        IPin* peer = nullptr;
        if (pin->ConnectedTo(&peer) == S_OK) {
            peer->Release();
            return VFW_E_ALREADY_CONNECTED;
        }
    }
    return outputPin->Connect(inputPin, mediaType);
}

HRESULT CFilterGraph::Disconnect(IPin* pin) {
    if (pin == nullptr) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    if (state != State_Stopped) return VFW_E_WRONG_STATE;
    if (OwnerOf(pin) == nullptr) return E_INVALIDARG;
    IPin* peer = nullptr;
    if (pin->ConnectedTo(&peer) != S_OK) return VFW_E_NOT_CONNECTED;
    HRESULT hr = peer->Disconnect();
    const HRESULT own = pin->Disconnect();
    if (SUCCEEDED(hr)) hr = own;
    peer->Release();
    return hr;
}

std::vector<CBaseFilter*> CFilterGraph::DownstreamFirst() {
    // Rank = the longest path to a filter with no connected output pin; rank 0 goes first.
    std::map<CBaseFilter*, int> rank;
    for (const Entry& entry : filters) rank[entry.filter] = 0;
    // Relax as often as there are filters: enough for any acyclic graph; a cycle stops there.
    for (size_t round = 0; round < filters.size(); ++round) {
        bool changed = false;
        for (const Entry& entry : filters) {
            for (int i = 0; i < entry.filter->GetPinCount(); ++i) {
                CBasePin* pin = entry.filter->GetPin(i);
                if (pin == nullptr || !pin->IsConnected() || DirectionOf(pin) != PINDIR_OUTPUT)
                    continue;
                CBaseFilter* down = OwnerOf(pin->GetConnected());
                if (down != nullptr && rank[entry.filter] < rank[down] + 1) {
                    rank[entry.filter] = rank[down] + 1;
                    changed = true;
                }
            }
        }
        if (!changed) break;
    }
    std::vector<CBaseFilter*> order;
    for (const Entry& entry : filters) order.push_back(entry.filter);
    std::stable_sort(order.begin(), order.end(),
                     [&](CBaseFilter* a, CBaseFilter* b) { return rank[a] < rank[b]; });
    return order;
}

HRESULT CFilterGraph::PauseLocked() {
    if (state == State_Stopped) {
        for (const Entry& entry : filters) {
            const HRESULT hr = entry.filter->SetSyncSource(clock);
            if (FAILED(hr)) return hr;
        }
        std::lock_guard<std::mutex> guard(eventLock);
        completes = 0;
        aborted = false;
        abortResult = S_OK;
    }
    for (CBaseFilter* filter : DownstreamFirst()) {
        const HRESULT hr = filter->Pause();
        if (FAILED(hr)) {
            StopLocked();
            return hr;
        }
    }
    if (state == State_Running) pausedAt = CSystemClock::Now();
    state = State_Paused;
    return S_OK;
}

HRESULT CFilterGraph::Pause() {
    std::lock_guard<std::mutex> guard(lock);
    if (state == State_Paused) return S_OK;
    return PauseLocked();
}

HRESULT CFilterGraph::Run() {
    std::lock_guard<std::mutex> guard(lock);
    if (state == State_Running) return S_OK;
    if (state == State_Stopped) {
        const HRESULT hr = PauseLocked();
        if (FAILED(hr)) return hr;
    }
    const REFERENCE_TIME now = CSystemClock::Now();
    if (started) {
        startTime += now - pausedAt;
    } else {
        startTime = now + kStartOffset;
    }
    for (CBaseFilter* filter : DownstreamFirst()) {
        const HRESULT hr = filter->Run(startTime);
        if (FAILED(hr)) {
            StopLocked();
            return hr;
        }
    }
    started = true;
    state = State_Running;
    return S_OK;
}

HRESULT CFilterGraph::StopLocked() {
    HRESULT first = S_OK;
    for (CBaseFilter* filter : DownstreamFirst()) {
        const HRESULT hr = filter->Stop();
        if (FAILED(hr) && SUCCEEDED(first)) first = hr;
    }
    state = State_Stopped;
    started = false;
    startTime = 0;
    pausedAt = 0;
    return first;
}

HRESULT CFilterGraph::Stop() {
    std::lock_guard<std::mutex> guard(lock);
    return StopLocked();
}

HRESULT CFilterGraph::GetState(FILTER_STATE* out) {
    if (out == nullptr) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    *out = state;
    return S_OK;
}

HRESULT CFilterGraph::StreamTime(REFERENCE_TIME* time) {
    if (time == nullptr) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    if (state == State_Running) {
        *time = CSystemClock::Now() - startTime;
    } else if (state == State_Paused && started) {
        *time = pausedAt - startTime;
    } else {
        *time = 0;
    }
    return S_OK;
}

HRESULT CFilterGraph::GetEvent(long* code, LONG_PTR* param1, LONG_PTR* param2, long timeoutMs) {
    return queue->GetEvent(code, param1, param2, timeoutMs);
}

HRESULT CFilterGraph::WaitForCompletion(long timeoutMs) {
    int renderers = 0;
    {
        std::lock_guard<std::mutex> guard(lock);
        if (state == State_Stopped) return VFW_E_WRONG_STATE;
        for (const Entry& entry : filters)
            if (IsRenderer(entry.filter)) ++renderers;
    }
    std::unique_lock<std::mutex> guard(eventLock);
    const auto done = [&] { return aborted || completes >= renderers; };
    if (timeoutMs < 0) {
        eventChanged.wait(guard, done);
    } else if (!eventChanged.wait_for(guard, std::chrono::milliseconds(timeoutMs), done)) {
        return E_ABORT;
    }
    return aborted ? abortResult : S_OK;
}

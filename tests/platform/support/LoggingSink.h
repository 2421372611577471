// A paused sink whose logging input pin is connected to an idle counter source, with a pool of
// four int samples; and a watchdog that ends the process when a scope is not left in time, so
// that a deadlock fails loudly instead of hanging the run.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/support/TestFilters.h"

namespace qv_test {

using Log = std::vector<std::string>;

// Aborts the run when Done (or the destructor) does not come within `limit`.
class Watchdog {
public:
    explicit Watchdog(const char* what, std::chrono::seconds limit = std::chrono::seconds(60))
        : thread([this, what, limit] {
              if (CUWaitAny({&done}, limit) == 0) return;
              std::fprintf(stderr, "deadlock: %s, not over within %llds\n", what,
                           static_cast<long long>(limit.count()));
              std::abort();
          }) {}
    ~Watchdog() { Done(), thread.join(); }
    void Done() { done.Set(); }

private:
    CUManualResetEvent done;
    std::thread thread;
};

struct LoggingOptions {
    bool flushes = true;       // log "flush" and "endflush"
    bool released = false;     // log "released" when a gated Receive is let through
    bool keepSamples = false;  // the sink keeps the reference Sample hands out, to PoolIsFull
};

// Logs what reaches it: "<counter>", "seg<start>", "eos" (and the flushes, by its options). The
// next Receive waits at a gate when `gated` is set.
class LoggingPin : public CBaseInputPin {
public:
    LoggingPin(CBaseFilter* filter, CURecursiveLock* lock, LoggingOptions options)
        : CBaseInputPin("logging pin", filter, lock, &hr, L"In"), options(options) {}

    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT Receive(IMediaSample* sample) override {
        if (gated.exchange(false)) {
            gateReached.Set(), gateOpen.Wait();
            if (options.released) Add("released");
        }
        const HRESULT result = CBaseInputPin::Receive(sample);
        uint8_t* bytes = nullptr;
        if (result == S_OK)
            sample->GetPointer(&bytes), Add(std::to_string(*reinterpret_cast<int*>(bytes)));
        return result;
    }
    HRESULT EndOfStream() override { return Add("eos"), S_OK; }
    HRESULT BeginFlush() override {
        if (options.flushes) Add("flush");
        return CBaseInputPin::BeginFlush();
    }
    HRESULT EndFlush() override {
        if (options.flushes) Add("endflush");
        return CBaseInputPin::EndFlush();
    }
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
        return Add("seg" + std::to_string(start)), CBaseInputPin::NewSegment(start, stop, rate);
    }
    // The log once it has `n` entries (or when patience runs out).
    Log WaitFor(size_t n) {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait_for(guard, kPatience, [&] { return log.size() >= n; });
        return log;
    }

    HRESULT hr = S_OK;
    std::atomic<bool> gated{false};
    CUManualResetEvent gateReached, gateOpen;

private:
    void Add(std::string entry) {
        std::lock_guard<std::mutex> guard(lock);
        log.push_back(std::move(entry));
        changed.notify_all();
    }
    const LoggingOptions options;
    std::mutex lock;
    std::condition_variable changed;  // with `lock`
    Log log;                          // guarded by `lock`
};

// Lives on the stack, paused, its pin connected to the output pin of an idle counter source.
class LoggingSink : public CBaseFilter {
public:
    explicit LoggingSink(LoggingOptions options = {})
        : CBaseFilter("logging sink", nullptr, &stateLock, GUID_NULL),
          pin(this, &stateLock, options),
          keepSamples(options.keepSamples) {
        NonDelegatingAddRef();  // never released to zero
        source->AddRef();
        pool->AddRef();
        EXPECT_EQ(source->pin->Connect(&pin, nullptr), S_OK);
        EXPECT_EQ(Pause(), S_OK);
        ALLOCATOR_PROPERTIES request{kBuffers, sizeof(int), 0, 0}, actual;
        pool->SetProperties(&request, &actual);
        pool->Commit();
    }
    ~LoggingSink() override {
        for (IMediaSample* each : lent) each->Release();
        Stop(), source->pin->Disconnect(), pin.Disconnect();
        pool->Decommit(), pool->Release(), source->Release();
    }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }

    // A sample of the pool holding `value`. Its reference is the caller's, or with keepSamples
    // the sink's until PoolIsFull (the caller then only lends it on).
    IMediaSample* Sample(int value) {
        IMediaSample* sample = nullptr;
        uint8_t* bytes = nullptr;
        EXPECT_EQ(pool->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        sample->GetPointer(&bytes), std::memcpy(bytes, &value, sizeof value);
        if (keepSamples) lent.push_back(sample);
        return sample;
    }
    // Every buffer is back in the pool (after the sink's own kept references went): nobody else
    // keeps one.
    bool PoolIsFull() {
        for (IMediaSample* each : std::exchange(lent, {})) each->Release();
        IMediaSample* taken[kBuffers] = {};
        int n = 0;
        while (n < kBuffers && pool->GetBuffer(&taken[n], nullptr, nullptr, AM_GBF_NOWAIT) == S_OK)
            ++n;
        for (int i = 0; i < n; ++i) taken[i]->Release();
        return n == kBuffers;
    }
    CBaseOutputPin* Output() { return source->pin; }

    static constexpr int kBuffers = 4;
    CURecursiveLock stateLock;
    LoggingPin pin;

private:
    const bool keepSamples;
    CounterSource* source = new CounterSource(0, 1);
    CMemAllocator* pool = new CMemAllocator("logging sink pool");
    std::vector<IMediaSample*> lent;
};

}  // namespace qv_test

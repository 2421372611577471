// The worker base under an echoing worker: flushes, new segments, machine mutex, destruction.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "filters/PipelineWorker.h"
#include "platform/support/TestFilters.h"

using namespace qv_test;
using Log = std::vector<std::string>;

namespace {

// Aborts the run when its scope is not left within a minute: a deadlock fails loudly.
struct Watchdog {
    explicit Watchdog(const char* what)
        : thread([this, what] {
              if (CUWaitAny({&done}, std::chrono::seconds(60)) == 0) return;
              std::fprintf(stderr, "deadlock: %s\n", what);
              std::abort();
          }) {}
    ~Watchdog() { done.Set(), thread.join(); }
    CUManualResetEvent done;
    std::thread thread;
};

// Logs what reaches it: "<counter>", "seg<start>", "eos", "flush", "endflush". The next Receive
// waits at a gate when `gated` is set and logs "released" when let through.
class LoggingPin : public CBaseInputPin {
public:
    LoggingPin(CBaseFilter* filter, CURecursiveLock* lock)
        : CBaseInputPin("logging pin", filter, lock, &hr, L"In") {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT Receive(IMediaSample* sample) override {
        if (gated.exchange(false)) gateReached.Set(), gateOpen.Wait(), Add("released");
        const HRESULT result = CBaseInputPin::Receive(sample);
        uint8_t* bytes = nullptr;
        if (result == S_OK)
            sample->GetPointer(&bytes), Add(std::to_string(*reinterpret_cast<int*>(bytes)));
        return result;
    }
    HRESULT EndOfStream() override { return Add("eos"), S_OK; }
    HRESULT BeginFlush() override { return Add("flush"), CBaseInputPin::BeginFlush(); }
    HRESULT EndFlush() override { return Add("endflush"), CBaseInputPin::EndFlush(); }
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
        return Add("seg" + std::to_string(start)), CBaseInputPin::NewSegment(start, stop, rate);
    }
    Log WaitFor(size_t n) {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait_for(guard, kPatience, [&] { return log.size() >= n; });
        return log;
    }
    void Add(std::string entry) {
        std::lock_guard<std::mutex> guard(lock);
        log.push_back(std::move(entry));
        changed.notify_all();
    }
    HRESULT hr = S_OK;
    std::atomic<bool> gated{false};
    CUManualResetEvent gateReached, gateOpen;
    std::mutex lock;
    std::condition_variable changed;  // with `lock`
    Log log;                          // guarded by `lock`
};

// A paused sink whose logging pin is connected to the output pin of an idle counter source, and
// a pool of four samples.
struct Fixture : CBaseFilter {
    Fixture() : CBaseFilter("logging sink", nullptr, &stateLock, GUID_NULL) {
        NonDelegatingAddRef();  // lives on the stack: never released to zero
        source->AddRef();
        pool->AddRef();
        EXPECT_EQ(source->pin->Connect(&pin, nullptr), S_OK);
        EXPECT_EQ(Pause(), S_OK);
        ALLOCATOR_PROPERTIES request{kBuffers, sizeof(int), 0, 0}, actual;
        pool->SetProperties(&request, &actual);
        pool->Commit();
    }
    ~Fixture() override {
        PoolIsFull(), Stop(), source->pin->Disconnect(), pin.Disconnect();
        pool->Decommit(), pool->Release(), source->Release();
    }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }
    // A sample of the pool; the fixture keeps its own reference until PoolIsFull.
    IMediaSample* Sample(int value) {
        IMediaSample* sample = nullptr;
        uint8_t* bytes = nullptr;
        EXPECT_EQ(pool->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        sample->GetPointer(&bytes), std::memcpy(bytes, &value, sizeof value);
        return lent.push_back(sample), sample;
    }
    bool PoolIsFull() {  // once ours are back, every buffer is: nobody else keeps a reference
        for (IMediaSample* each : std::exchange(lent, {})) each->Release();
        IMediaSample* t[kBuffers] = {};
        size_t n = 0;
        while (n < kBuffers && pool->GetBuffer(&t[n], nullptr, nullptr, AM_GBF_NOWAIT) == S_OK) ++n;
        for (size_t i = 0; i < n; ++i) t[i]->Release();
        return n == kBuffers;
    }
    CBaseOutputPin* Output() { return source->pin; }
    static constexpr size_t kBuffers = 4;
    CURecursiveLock stateLock;
    LoggingPin pin{this, &stateLock};
    CounterSource* source = new CounterSource(0, 1);
    CMemAllocator* pool = new CMemAllocator("queue test");
    std::vector<IMediaSample*> lent;
};

std::string UniqueName(const char* what) {  // of this process alone: parallel runs do not meet
    return std::string("pipeline-test-") + what + "-" + std::to_string(getpid());
}

// Takes the machine mutex, then passes samples (unless flushing), segments and end of stream on
// to its delivery thread and acknowledges flush markers.
class EchoWorker : public CPipelineWorker {
public:
    EchoWorker(const std::string& name, CBaseOutputPin* output) : CPipelineWorker(name) {
        SetDeliverThread(new CDeliverThread(output));
    }
    ~EchoWorker() override { StopAndJoin(); }
    int Run() override {
        if (!TakeMachineMutex()) return 0;
        running.Set();
        while (!m_bStop.load()) {
            if (m_pQueue->GetCount() == 0 && (m_pQueue->Wait(), m_pQueue->IsClosed())) break;
            m_pQueue->Lock();
            const QueueItem item = m_pQueue->Pop();
            SegmentRecord* record =
                item == kQueueNewSegment ? CMediaSampleQueue::AsRecord(m_pQueue->Pop()) : nullptr;
            m_pQueue->Unlock();
            if (record) {
                DeliverThread()->PostNewSegment(record->start, record->stop, record->rate);
                delete record;
            } else if (item == kQueueEndOfStream) {
                DeliverThread()->PostEndOfStream();
            } else if (item == kQueueFlush) {
                endFlushAheadOfMarker = endFlushReturned.load();
                m_pFlushDone->Set();
            } else if (item != 0) {
                IMediaSample* sample = CMediaSampleQueue::AsSample(item);
                if (holdNext.exchange(false)) held.Set(), release.Wait();
                if (!m_bFlushing.load()) DeliverThread()->PostSample(sample);
                sample->Release();
            }
        }
        ReleaseMachineMutex();
        return 0;
    }
    CUManualResetEvent& WorkerFlushDone() { return *m_pFlushDone; }
    CUManualResetEvent running, held, release;
    std::atomic<bool> holdNext{false}, endFlushReturned{false}, endFlushAheadOfMarker{false};
};

TEST(PipelineWorkerTest, EndFlushReturnsOnlyAfterBothThreadsReachedTheirMarkers) {
    Watchdog watchdog("flush in flight");
    for (const bool workerLast : {false, true}) {  // which held thread goes on last
        Fixture f;
        EchoWorker worker(UniqueName("busy"), f.Output());
        worker.Start(nullptr);
        f.pin.gated = true;
        worker.Receive(f.Sample(0));
        f.pin.gateReached.Wait();  // the delivery thread holds 0 at the pin
        worker.holdNext = true;
        worker.Receive(f.Sample(1));
        worker.held.Wait();  // the worker holds 1
        worker.BeginFlush();
        CUManualResetEvent in;
        std::thread flusher([&] { in.Set(), worker.EndFlush(), worker.endFlushReturned = true; });
        in.Wait();
        if (workerLast) f.pin.gateOpen.Set(), worker.DeliverThread()->FlushDone().Wait();
        worker.release.Set();
        if (!workerLast) worker.WorkerFlushDone().Wait(), f.pin.gateOpen.Set();
        flusher.join();
        EXPECT_FALSE(worker.endFlushAheadOfMarker);
        EXPECT_EQ(f.pin.WaitFor(3), (Log{"flush", "released", "endflush"}));  // 1 was dropped
        EXPECT_TRUE(f.PoolIsFull());
    }
}

TEST(PipelineWorkerTest, NewSegmentClearsBothQueuesAndGoesOnlyWhereTheFilterLetsIt) {
    Watchdog watchdog("new segment");
    Fixture f;
    EchoWorker worker(UniqueName("segment"), f.Output());  // started at the end
    CMediaSampleQueue& delivery = worker.DeliverThread()->Queue();
    f.pin.gated = true;
    delivery.PushSample(f.Sample(0));
    f.pin.gateReached.Wait();
    delivery.PushSample(f.Sample(1));
    worker.Receive(f.Sample(2));
    worker.EndOfStream();
    size_t left = 1;  // both queues as the filter's step sees them; it refuses the segment
    auto step = [&] { return left = worker.Queue().GetCount() + delivery.GetCount(), false; };
    EXPECT_EQ(worker.NewSegment(10, 20, 1.0, step), S_OK);
    EXPECT_EQ(left, 0u);  // the end-of-stream marker went too
    EXPECT_EQ(worker.Queue().GetCount(), 0u);
    EXPECT_EQ(worker.NewSegment(30, 40, 1.0), S_OK);
    ASSERT_EQ(worker.Queue().GetCount(), 2u);
    EXPECT_EQ(CMediaSampleQueue::AsRecord(worker.Queue().PeekAt(1))->start, 30);
    f.pin.gateOpen.Set();
    worker.Start(nullptr);
    EXPECT_EQ(f.pin.WaitFor(3), (Log{"released", "0", "seg30"}));
    EXPECT_TRUE(f.PoolIsFull());
}

TEST(PipelineWorkerTest, OneWorkerOfAKindWorksAtATime) {
    Watchdog watchdog("machine mutex");
    const std::string name = UniqueName("turns");
    Fixture f1, f2;
    auto first = std::make_unique<EchoWorker>(name, f1.Output());
    first->Start(nullptr);
    first->running.Wait();
    {
        EchoWorker waiting(name, f2.Output());
        waiting.Start(nullptr);
        waiting.Receive(f2.Sample(0));
    }  // destroyed while it waits for the mutex: not held up, nothing kept
    EXPECT_TRUE(f2.PoolIsFull());
    EchoWorker second(name, f2.Output());
    second.Start(nullptr);
    second.Receive(f2.Sample(1));
    first->Receive(f1.Sample(2));
    EXPECT_EQ(f1.pin.WaitFor(1), (Log{"2"}));
    EXPECT_EQ(second.Queue().GetCount(), 1u);  // waits, consuming nothing
    first.reset();
    EXPECT_EQ(f2.pin.WaitFor(1), (Log{"1"}));
}

TEST(PipelineWorkerTest, IdleFlushReturnsAndDestructionEndsIdleAndUnstartedWorkers) {
    Watchdog watchdog("idle flush and destruction");
    Fixture f;
    {
        EchoWorker idle(UniqueName("idle"), f.Output()), unstarted(UniqueName("no"), f.Output());
        unstarted.Receive(f.Sample(1));
        idle.Start(nullptr);
        idle.BeginFlush();
        idle.EndFlush();
        idle.Receive(f.Sample(0));
        idle.EndOfStream();
        EXPECT_EQ(f.pin.WaitFor(4), (Log{"flush", "endflush", "0", "eos"}));
    }  // the idle one's threads went round and wait on empty queues
    EXPECT_TRUE(f.PoolIsFull());
}

}  // namespace

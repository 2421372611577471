// The sample queue (wake-ups, draining with its markers) and the delivery thread in front of a
// logging input pin: order, flush, destruction with work left.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "filters/DeliverThread.h"
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
// waits at a gate when `gated` is set.
class LoggingPin : public CBaseInputPin {
public:
    LoggingPin(CBaseFilter* filter, CURecursiveLock* lock)
        : CBaseInputPin("logging pin", filter, lock, &hr, L"In") {}

    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT Receive(IMediaSample* sample) override {
        if (gated.exchange(false)) gateReached.Set(), gateOpen.Wait();
        const HRESULT result = CBaseInputPin::Receive(sample);
        uint8_t* bytes = nullptr;
        sample->GetPointer(&bytes);
        if (result == S_OK) Add(std::to_string(*reinterpret_cast<int*>(bytes)));
        return result;
    }
    HRESULT EndOfStream() override { return Add("eos"), S_OK; }
    HRESULT BeginFlush() override { return Add("flush"), CBaseInputPin::BeginFlush(); }
    HRESULT EndFlush() override { return Add("endflush"), CBaseInputPin::EndFlush(); }
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
        Add("seg" + std::to_string(start));
        return CBaseInputPin::NewSegment(start, stop, rate);
    }
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
        ALLOCATOR_PROPERTIES request, actual;
        request.cBuffers = kBuffers;
        request.cbBuffer = sizeof(int);
        pool->SetProperties(&request, &actual);
        pool->Commit();
    }
    ~Fixture() override {
        Stop();
        source->pin->Disconnect();
        pin.Disconnect();
        pool->Decommit();
        pool->Release();
        source->Release();
    }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }
    IMediaSample* Sample(int value) {
        IMediaSample* sample = nullptr;
        EXPECT_EQ(pool->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        uint8_t* bytes = nullptr;
        sample->GetPointer(&bytes);
        std::memcpy(bytes, &value, sizeof value);
        return sample;
    }
    // Every buffer is back in the pool: nobody keeps a reference.
    bool PoolIsFull() {
        std::vector<IMediaSample*> taken(kBuffers, nullptr);
        int n = 0;
        while (n < kBuffers && pool->GetBuffer(&taken[n], nullptr, nullptr, AM_GBF_NOWAIT) == S_OK)
            ++n;
        for (int i = 0; i < n; ++i) taken[i]->Release();
        return n == kBuffers;
    }
    CBaseOutputPin* Output() { return source->pin; }

    static constexpr int kBuffers = 4;
    CURecursiveLock stateLock;
    LoggingPin pin{this, &stateLock};
    CounterSource* source = new CounterSource(0, 1);
    CMemAllocator* pool = new CMemAllocator("queue test");
};

// Queues a sample and drops the caller's reference: the queue holds the only one.
void Give(CMediaSampleQueue& queue, IMediaSample* sample) {
    queue.PushSample(sample);
    sample->Release();
}

TEST(SampleQueueTest, PushOfZeroAndCloseWakeAWaiterWithoutStoringAnything) {
    Watchdog watchdog("waking the queue's waiter");
    CMediaSampleQueue queue;
    for (const bool close : {false, true}) {
        std::thread waiter([&] { queue.Wait(); });
        if (close) {
            queue.Close();
        } else {
            queue.Push(0);
        }
        waiter.join();
        EXPECT_EQ(queue.GetCount(), 0u);
        EXPECT_EQ(queue.Pop(), 0);
        EXPECT_EQ(queue.IsClosed(), close);
    }
}

TEST(SampleQueueTest, ItemsLeaveInOrderAndCanBeTakenFromTheMiddle) {
    CMediaSampleQueue queue;
    queue.PushEndOfStream();
    queue.PushNewSegment(10, 20, 2.0);
    queue.Push(kQueueFlush);
    ASSERT_EQ(queue.GetCount(), 4u);
    EXPECT_EQ(queue.PeekAt(1), kQueueNewSegment);
    EXPECT_EQ(queue.PeekAt(4), 0);
    delete CMediaSampleQueue::AsRecord(queue.RemoveAt(2));
    EXPECT_EQ(queue.RemoveAt(1), kQueueNewSegment);
    EXPECT_EQ(queue.Pop(), kQueueEndOfStream);
    EXPECT_EQ(queue.Pop(), kQueueFlush);
    EXPECT_EQ(queue.Pop(), 0);
}

TEST(SampleQueueTest, DrainReleasesSamplesAndRecordsAndKeepsOnlyTheFlushMarker) {
    Fixture f;
    CMediaSampleQueue queue;
    Give(queue, f.Sample(0));
    queue.PushNewSegment(10, 20, 1.0);
    Give(queue, f.Sample(1));
    queue.PushEndOfStream();
    queue.Push(kQueueFlush);
    Give(queue, f.Sample(2));
    DrainQueue(queue);
    EXPECT_TRUE(f.PoolIsFull());
    EXPECT_EQ(queue.Pop(), kQueueFlush);
    EXPECT_EQ(queue.Pop(), 0);

    queue.PushEndOfStream();
    Give(queue, f.Sample(3));
    DrainQueue(queue);
    EXPECT_EQ(queue.GetCount(), 0u);  // no flush marker appears from nowhere
    EXPECT_TRUE(f.PoolIsFull());

    Give(queue, f.Sample(4));  // the destructor drains too
}

TEST(DeliverThreadTest, DeliversSamplesSegmentsAndEndOfStreamInOrder) {
    Watchdog watchdog("delivering in order");
    Fixture f;
    CDeliverThread thread(f.Output());
    Log expected;
    // More samples than the pool has: the thread gives each back for a later one.
    for (int i = 0; i < 50; ++i) {
        Give(thread.Queue(), f.Sample(i));
        expected.push_back(std::to_string(i));
        if (i == 20) thread.PostNewSegment(100, 200, 1.0), expected.push_back("seg100");
    }
    thread.PostEndOfStream();
    expected.push_back("eos");
    EXPECT_EQ(f.pin.WaitFor(expected.size()), expected);
}

TEST(DeliverThreadTest, FlushDropsQueuedWorkPassesTheFlushOnAndIsAcknowledgedBehindDelivery) {
    Watchdog watchdog("flushing the delivery thread");
    Fixture f;
    {
        CDeliverThread thread(f.Output());
        f.pin.gated = true;
        Give(thread.Queue(), f.Sample(0));
        f.pin.gateReached.Wait();  // the thread delivers 0 and waits at the pin
        Give(thread.Queue(), f.Sample(1));
        thread.PostNewSegment(10, 20, 1.0);
        thread.PostEndOfStream();

        thread.BeginFlush();
        EXPECT_EQ(f.pin.WaitFor(1), (Log{"flush"}));  // at once, ahead of the queue
        EXPECT_EQ(thread.Queue().GetCount(), 1u);     // the marker alone
        f.pin.gateOpen.Set();                         // 0 reaches the flushing pin: refused
        thread.FlushDone().Wait();
        thread.OutputPin()->DeliverEndFlush();
        EXPECT_TRUE(f.PoolIsFull());

        Give(thread.Queue(), f.Sample(2));  // the stream goes on
        EXPECT_EQ(f.pin.WaitFor(3), (Log{"flush", "endflush", "2"}));

        Give(thread.Queue(), f.Sample(3));
        Give(thread.Queue(), f.Sample(4));
        thread.PostEndOfStream();
    }  // destroyed with work queued or in flight: nothing is kept
    EXPECT_TRUE(f.PoolIsFull());
}

}  // namespace

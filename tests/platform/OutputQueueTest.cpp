// COutputQueue in front of a logging input pin: order of samples, end of stream and new
// segments, with and without a thread and in batches; flushing; failures; destruction.
#include <gtest/gtest.h>

#include <string>

#include "platform/OutputQueue.h"
#include "support/TestFilters.h"

using namespace qv_test;
using Log = std::vector<std::string>;

namespace {

// Logs what reaches it: "<counter>", "seg<start>", "eos". The next Receive waits at a gate when
// `gated` is set.
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

// A paused sink whose logging pin is connected (to an idle counter source), and a pool of four
// samples.
struct Fixture : CBaseFilter {
    Fixture() : CBaseFilter("logging sink", nullptr, &stateLock, GUID_NULL) {
        NonDelegatingAddRef();  // lives on the stack: never released to zero
        source->AddRef();
        pool->AddRef();
        EXPECT_EQ(source->pin->Connect(&pin, nullptr), S_OK);
        EXPECT_EQ(Pause(), S_OK);
        ALLOCATOR_PROPERTIES request, actual;
        request.cBuffers = 4;
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
    // Every buffer is back in the pool: the queue keeps none.
    bool PoolIsFull() {
        std::vector<IMediaSample*> taken(4, nullptr);
        int n = 0;
        while (n < 4 && pool->GetBuffer(&taken[n], nullptr, nullptr, AM_GBF_NOWAIT) == S_OK) ++n;
        for (int i = 0; i < n; ++i) taken[i]->Release();
        return n == 4;
    }
    CURecursiveLock stateLock;
    LoggingPin pin{this, &stateLock};
    CounterSource* source = new CounterSource(0, 1);
    CMemAllocator* pool = new CMemAllocator("queue test");
};

struct Mode {
    const char* name;
    bool queued;
    int batch;
    bool exact;
};

class OutputQueueOrderTest : public testing::TestWithParam<Mode> {};

TEST_P(OutputQueueOrderTest, DeliversSamplesSegmentsAndEndOfStreamInOrder) {
    Fixture f;
    HRESULT hr = S_OK;
    COutputQueue queue(&f.pin, &hr, false, GetParam().queued, GetParam().batch, GetParam().exact);
    ASSERT_EQ(hr, S_OK);
    EXPECT_EQ(queue.IsQueued(), GetParam().queued);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(queue.Receive(f.Sample(i)), S_OK);
    queue.NewSegment(10, 20, 1.0);
    ASSERT_EQ(queue.Receive(f.Sample(3)), S_OK);
    queue.EOS();
    EXPECT_EQ(f.pin.WaitFor(6), (Log{"0", "1", "2", "seg10", "3", "eos"}));
    EXPECT_TRUE(f.PoolIsFull());
}

INSTANTIATE_TEST_SUITE_P(Modes, OutputQueueOrderTest,
                         testing::Values(Mode{"Thread", true, 1, false},
                                         Mode{"ExactBatches", true, 3, true},
                                         Mode{"Direct", false, 1, false}),
                         [](const testing::TestParamInfo<Mode>& info) { return info.param.name; });

TEST(OutputQueueTest, FlushDropsQueuedSamplesAndTheStreamGoesOn) {
    Fixture f;
    HRESULT hr = S_OK;
    COutputQueue queue(&f.pin, &hr);
    f.pin.gated = true;
    ASSERT_EQ(queue.Receive(f.Sample(0)), S_OK);
    f.pin.gateReached.Wait();  // the thread delivers 0 and waits
    for (int i = 1; i < 4; ++i) ASSERT_EQ(queue.Receive(f.Sample(i)), S_OK);
    queue.EOS();
    EXPECT_FALSE(queue.IsIdle());

    queue.BeginFlush();
    EXPECT_TRUE(f.pin.IsFlushing());
    EXPECT_EQ(queue.Receive(f.Sample(9)), S_FALSE);  // released, not queued
    f.pin.gateOpen.Set();                            // 0 reaches the flushing pin: refused
    queue.EndFlush();
    EXPECT_FALSE(f.pin.IsFlushing());
    EXPECT_TRUE(queue.IsIdle());
    EXPECT_TRUE(f.PoolIsFull());

    ASSERT_EQ(queue.Receive(f.Sample(4)), S_OK);
    queue.EOS();
    EXPECT_EQ(f.pin.WaitFor(2), (Log{"4", "eos"}));
}

TEST(OutputQueueTest, PartialExactBatchWaitsForSendAnywayAndDestructionReleasesTheRest) {
    Fixture f;
    {
        HRESULT hr = S_OK;
        COutputQueue queue(&f.pin, &hr, false, true, 3, true);
        ASSERT_EQ(queue.Receive(f.Sample(0)), S_OK);
        ASSERT_EQ(queue.Receive(f.Sample(1)), S_OK);
        EXPECT_FALSE(queue.IsIdle());
        queue.SendAnyway();
        EXPECT_EQ(f.pin.WaitFor(2), (Log{"0", "1"}));
        ASSERT_EQ(queue.Receive(f.Sample(2)), S_OK);
        ASSERT_EQ(queue.Receive(f.Sample(3)), S_OK);
    }
    EXPECT_EQ(f.pin.WaitFor(0), (Log{"0", "1"}));
    EXPECT_TRUE(f.PoolIsFull());
}

TEST(OutputQueueTest, DeliveryFailureIsAnsweredUntilTheNextFlush) {
    Fixture f;
    HRESULT hr = S_OK;
    COutputQueue queue(&f.pin, &hr, false, false);
    ASSERT_EQ(f.Stop(), S_OK);
    EXPECT_EQ(queue.Receive(f.Sample(0)), VFW_E_WRONG_STATE);
    ASSERT_EQ(f.Pause(), S_OK);
    EXPECT_EQ(queue.Receive(f.Sample(1)), VFW_E_WRONG_STATE);  // not delivered
    queue.BeginFlush();
    queue.EndFlush();
    EXPECT_EQ(queue.Receive(f.Sample(2)), S_OK);
    EXPECT_EQ(f.pin.WaitFor(1), (Log{"2"}));
    EXPECT_TRUE(f.PoolIsFull());
}

}  // namespace

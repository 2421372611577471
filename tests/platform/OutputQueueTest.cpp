// COutputQueue in front of a logging input pin: order of samples, end of stream and new
// segments with and without a thread and in batches; flushing; destruction with samples queued.
#include <gtest/gtest.h>

#include <string>

#include "platform/OutputQueue.h"
#include "support/TestFilters.h"

using namespace qv_test;

namespace {

// Logs what reaches it: "<counter>", "seg<start>", "eos". Receive can wait at a gate once.
class LoggingPin : public CBaseInputPin {
public:
    LoggingPin(CBaseFilter* filter, CURecursiveLock* lock)
        : CBaseInputPin("logging pin", filter, lock, &hr, L"In") {}

    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT Receive(IMediaSample* sample) override {
        if (gated.exchange(false)) {
            gateReached.Set();
            gateOpen.Wait();
        }
        const HRESULT result = CBaseInputPin::Receive(sample);
        if (result != S_OK) return result;
        uint8_t* bytes = nullptr;
        sample->GetPointer(&bytes);
        int value = 0;
        std::memcpy(&value, bytes, sizeof value);
        Log(std::to_string(value));
        return S_OK;
    }
    HRESULT EndOfStream() override { return Log("eos"), S_OK; }
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override {
        Log("seg" + std::to_string(start));
        return CBaseInputPin::NewSegment(start, stop, rate);
    }
    bool WaitFor(size_t n) {
        std::unique_lock<std::mutex> guard(lock);
        return changed.wait_for(guard, kPatience, [&] { return log.size() >= n; });
    }
    std::vector<std::string> Log() {
        std::lock_guard<std::mutex> guard(lock);
        return log;
    }

    HRESULT hr = S_OK;
    std::atomic<bool> gated{false};  // the next Receive waits for gateOpen
    CUManualResetEvent gateReached;
    CUManualResetEvent gateOpen;

private:
    void Log(std::string entry) {
        std::lock_guard<std::mutex> guard(lock);
        log.push_back(std::move(entry));
        changed.notify_all();
    }
    std::mutex lock;
    std::condition_variable changed;  // with `lock`
    std::vector<std::string> log;     // guarded by `lock`
};

class LoggingSink : public CBaseFilter {
public:
    LoggingSink() : CBaseFilter("logging sink", nullptr, &stateLock, GUID_NULL) {
        pin = new LoggingPin(this, &stateLock);
    }
    ~LoggingSink() override { delete pin; }
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? pin : nullptr; }

    CURecursiveLock stateLock;
    LoggingPin* pin;  // owned
};

// A paused sink whose pin is connected (to an idle counter source), and a pool of four samples.
struct Fixture {
    Fixture() {
        source->AddRef();
        sink->AddRef();
        allocator->AddRef();
        EXPECT_EQ(source->pin->Connect(sink->pin, nullptr), S_OK);
        EXPECT_EQ(sink->Pause(), S_OK);
        ALLOCATOR_PROPERTIES request, actual;
        request.cBuffers = 4;
        request.cbBuffer = sizeof(int);
        allocator->SetProperties(&request, &actual);
        allocator->Commit();
    }
    ~Fixture() {
        sink->Stop();
        source->pin->Disconnect();
        sink->pin->Disconnect();
        allocator->Decommit();
        allocator->Release();
        source->Release();
        sink->Release();
    }
    IMediaSample* Sample(int value) {
        IMediaSample* sample = nullptr;
        EXPECT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        uint8_t* bytes = nullptr;
        sample->GetPointer(&bytes);
        std::memcpy(bytes, &value, sizeof value);
        return sample;
    }
    // Every buffer of the pool is back: none is kept by the queue.
    bool PoolIsFull() {
        std::vector<IMediaSample*> taken;
        IMediaSample* sample = nullptr;
        while (allocator->GetBuffer(&sample, nullptr, nullptr, AM_GBF_NOWAIT) == S_OK)
            taken.push_back(sample);
        for (IMediaSample* each : taken) each->Release();
        return taken.size() == 4;
    }
    CounterSource* source = new CounterSource(0, 1);
    LoggingSink* sink = new LoggingSink;
    CMemAllocator* allocator = new CMemAllocator("queue test");
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
    COutputQueue queue(f.sink->pin, &hr, false, GetParam().queued, GetParam().batch,
                       GetParam().exact);
    ASSERT_EQ(hr, S_OK);
    EXPECT_EQ(queue.IsQueued(), GetParam().queued);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(queue.Receive(f.Sample(i)), S_OK);
    queue.NewSegment(10, 20, 1.0);
    ASSERT_EQ(queue.Receive(f.Sample(3)), S_OK);
    queue.EOS();
    ASSERT_TRUE(f.sink->pin->WaitFor(6));
    EXPECT_EQ(f.sink->pin->Log(), (std::vector<std::string>{"0", "1", "2", "seg10", "3", "eos"}));
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
    COutputQueue queue(f.sink->pin, &hr);
    f.sink->pin->gated = true;
    ASSERT_EQ(queue.Receive(f.Sample(0)), S_OK);
    f.sink->pin->gateReached.Wait();  // the thread delivers 0 and waits
    for (int i = 1; i < 4; ++i) ASSERT_EQ(queue.Receive(f.Sample(i)), S_OK);
    queue.EOS();
    EXPECT_FALSE(queue.IsIdle());

    queue.BeginFlush();
    EXPECT_TRUE(f.sink->pin->IsFlushing());
    EXPECT_EQ(queue.Receive(f.Sample(9)), S_FALSE);  // refused and released while flushing
    f.sink->pin->gateOpen.Set();                     // 0 reaches the flushing pin: refused
    queue.EndFlush();
    EXPECT_FALSE(f.sink->pin->IsFlushing());
    EXPECT_TRUE(queue.IsIdle());
    EXPECT_TRUE(f.PoolIsFull());

    ASSERT_EQ(queue.Receive(f.Sample(4)), S_OK);
    queue.EOS();
    ASSERT_TRUE(f.sink->pin->WaitFor(2));
    EXPECT_EQ(f.sink->pin->Log(), (std::vector<std::string>{"4", "eos"}));
}

TEST(OutputQueueTest, PartialExactBatchWaitsForSendAnywayAndDestructionReleasesTheRest) {
    Fixture f;
    {
        HRESULT hr = S_OK;
        COutputQueue queue(f.sink->pin, &hr, false, true, 3, true);
        ASSERT_EQ(queue.Receive(f.Sample(0)), S_OK);
        ASSERT_EQ(queue.Receive(f.Sample(1)), S_OK);
        EXPECT_FALSE(queue.IsIdle());
        queue.SendAnyway();
        ASSERT_TRUE(f.sink->pin->WaitFor(2));
        ASSERT_EQ(queue.Receive(f.Sample(2)), S_OK);
        ASSERT_EQ(queue.Receive(f.Sample(3)), S_OK);
    }
    EXPECT_EQ(f.sink->pin->Log(), (std::vector<std::string>{"0", "1"}));
    EXPECT_TRUE(f.PoolIsFull());
}

TEST(OutputQueueTest, DeliveryFailureIsAnsweredUntilTheNextFlush) {
    Fixture f;
    HRESULT hr = S_OK;
    COutputQueue queue(f.sink->pin, &hr, false, false);
    ASSERT_EQ(f.sink->Stop(), S_OK);
    EXPECT_EQ(queue.Receive(f.Sample(0)), VFW_E_WRONG_STATE);
    ASSERT_EQ(f.sink->Pause(), S_OK);
    EXPECT_EQ(queue.Receive(f.Sample(1)), VFW_E_WRONG_STATE);  // not delivered
    queue.BeginFlush();
    queue.EndFlush();
    EXPECT_EQ(queue.Receive(f.Sample(2)), S_OK);
    EXPECT_EQ(f.sink->pin->Log(), (std::vector<std::string>{"2"}));
    EXPECT_TRUE(f.PoolIsFull());
}

TEST(OutputQueueTest, RefusesAPinWithoutSampleInput) {
    Fixture f;
    HRESULT hr = S_OK;
    COutputQueue queue(f.source->pin, &hr);  // an output pin: no IMemInputPin
    EXPECT_EQ(hr, E_NOINTERFACE);
}

}  // namespace

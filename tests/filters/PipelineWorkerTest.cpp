// The worker base under an echoing worker: flushes, new segments, machine mutex, destruction.
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>

#include "filters/PipelineWorker.h"
#include "platform/support/LoggingSink.h"

using namespace qv_test;

namespace {

// The sink logs a gated sample let through and keeps the samples it hands out.
constexpr LoggingOptions kSink{.released = true, .keepSamples = true};

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
        LoggingSink f(kSink);
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
    LoggingSink f(kSink);
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
    LoggingSink f1(kSink), f2(kSink);
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
    LoggingSink f(kSink);
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

#include <gtest/gtest.h>

#include <thread>

#include "platform/MediaEvent.h"

namespace {

struct Queue {
    CMediaEventQueue* queue = new CMediaEventQueue;
    Queue() { queue->AddRef(); }
    ~Queue() { queue->Release(); }
    CMediaEventQueue* operator->() const { return queue; }
};

bool IsSet(CUEventWaitHandle* event) {
    return CUWaitAny({event}, std::chrono::milliseconds(0)) == 0;
}

TEST(CMediaEventQueue, CodesHaveThePlatformValues) {
    EXPECT_EQ(EC_COMPLETE, 1);
    EXPECT_EQ(EC_USERABORT, 2);
    EXPECT_EQ(EC_ERRORABORT, 3);
    EXPECT_EQ(EC_QUALITY_CHANGE, 11);
}

TEST(CMediaEventQueue, EventsComeOutInOrderAndTheHandleFollowsTheQueue) {
    Queue queue;
    IMediaEventSink* sink = nullptr;
    ASSERT_EQ(queue->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(&sink)), S_OK);
    long code = 0;
    LONG_PTR p1 = 0, p2 = 0;
    EXPECT_EQ(queue->GetEvent(&code, &p1, &p2, 0), E_ABORT);
    EXPECT_FALSE(IsSet(queue->EventHandle()));

    sink->Notify(EC_ERRORABORT, static_cast<LONG_PTR>(0x88890004u), 0);
    sink->Notify(EC_COMPLETE, 0, 7);
    EXPECT_TRUE(IsSet(queue->EventHandle()));
    ASSERT_EQ(queue->GetEvent(&code, &p1, &p2, 0), S_OK);
    EXPECT_EQ(code, EC_ERRORABORT);
    EXPECT_EQ(p1, static_cast<LONG_PTR>(0x88890004u));
    EXPECT_TRUE(IsSet(queue->EventHandle()));
    ASSERT_EQ(queue->GetEvent(&code, &p1, &p2, 0), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    EXPECT_EQ(p2, 7);
    EXPECT_FALSE(IsSet(queue->EventHandle()));
    EXPECT_EQ(queue->GetEvent(nullptr, &p1, &p2, 0), E_POINTER);

    sink->Notify(EC_QUALITY_CHANGE, 0, 0);
    queue->Clear();
    EXPECT_FALSE(IsSet(queue->EventHandle()));
    EXPECT_EQ(queue->GetEvent(&code, &p1, &p2, 0), E_ABORT);
    sink->Release();
}

TEST(CMediaEventQueue, AReaderWaitsForAnotherThreadsEvent) {
    Queue queue;
    std::thread reader([&] {
        long code = 0;
        LONG_PTR p1 = 0, p2 = 0;
        EXPECT_EQ(queue->GetEvent(&code, &p1, &p2, -1), S_OK);
        EXPECT_EQ(code, EC_COMPLETE);
    });
    queue->Notify(EC_COMPLETE, 0, 0);
    reader.join();
    // The host's other way: wait on the handle, then take without waiting.
    std::thread notifier([&] { queue->Notify(EC_USERABORT, 1, 2); });
    ASSERT_EQ(CUWaitAny({queue->EventHandle()}, CUWaitInfinite), 0);
    long code = 0;
    LONG_PTR p1 = 0, p2 = 0;
    EXPECT_EQ(queue->GetEvent(&code, &p1, &p2, 0), S_OK);
    EXPECT_EQ(code, EC_USERABORT);
    notifier.join();
}

}  // namespace

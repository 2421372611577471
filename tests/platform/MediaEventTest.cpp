// The queue behind a graph's events: order, parameters and the wait handle. A reader waiting in
// GetEvent for another thread's event is every renderer test's NextEvent.
#include <gtest/gtest.h>

#include "platform/MediaEvent.h"

namespace {

TEST(CMediaEventQueue, EventsComeOutInOrderAndTheHandleFollowsTheQueue) {
    auto* queue = new CMediaEventQueue;
    IMediaEventSink* sink = nullptr;
    ASSERT_EQ(queue->QueryInterface(IID_IMediaEventSink, reinterpret_cast<void**>(&sink)), S_OK);
    CUEventWaitHandle* handle = queue->EventHandle();
    long code = 0;
    LONG_PTR p1 = 0, p2 = 0;
    EXPECT_EQ(queue->GetEvent(&code, &p1, &p2, 0), E_ABORT);

    sink->Notify(EC_ERRORABORT, static_cast<LONG_PTR>(0x88890004u), 0);
    sink->Notify(EC_COMPLETE, 0, 7);
    EXPECT_EQ(CUWaitAny({handle}, std::chrono::milliseconds(0)), 0);
    ASSERT_EQ(queue->GetEvent(&code, &p1, &p2, 0), S_OK);
    EXPECT_EQ(code, EC_ERRORABORT);
    EXPECT_EQ(p1, static_cast<LONG_PTR>(0x88890004u));
    EXPECT_EQ(CUWaitAny({handle}, std::chrono::milliseconds(0)), 0);
    ASSERT_EQ(queue->GetEvent(&code, &p1, &p2, 0), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    EXPECT_EQ(p2, 7);
    EXPECT_EQ(CUWaitAny({handle}, std::chrono::milliseconds(0)), CUWaitTimeout);
    EXPECT_EQ(queue->GetEvent(nullptr, &p1, &p2, 0), E_POINTER);
    sink->Release();
}

}  // namespace

// Window message queues: post, peek, refusals for unknown or closed windows, and a reader woken
// by unregistering. Posting from streaming threads is the sound and timecode renderers' tests.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/WindowMessages.h"

namespace {

TEST(WindowMessages, MessagesArriveAndUnknownOrClosedWindowsRefuse) {
    HWND window = RegisterMessageWindow();
    ASSERT_NE(window, nullptr);
    auto* block = new uint32_t(0x1234);  // passes to the receiver
    ASSERT_TRUE(PostMessageW(window, 0x8001, 1, reinterpret_cast<LPARAM>(block)));
    ASSERT_TRUE(PostMessageW(window, 5, 6, 7));
    MSG msg;
    ASSERT_TRUE(CMessageWindows::PeekMessage(window, &msg));
    EXPECT_EQ(msg.hwnd, window);
    EXPECT_EQ(msg.message, 0x8001u);
    EXPECT_EQ(msg.wParam, 1u);
    delete reinterpret_cast<uint32_t*>(msg.lParam);

    const std::vector<MSG> left = UnregisterMessageWindow(window);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].lParam, 7);
    EXPECT_FALSE(PostMessageW(window, 1, 0, 0));  // handles are never reused
    EXPECT_FALSE(PostMessageW(nullptr, 1, 0, 0));
    EXPECT_FALSE(PostMessageW(reinterpret_cast<HWND>(~uintptr_t{0}), 1, 0, 0));
    EXPECT_FALSE(CMessageWindows::PeekMessage(window, &msg));
}

TEST(WindowMessages, UnregisterWakesAWaitingReader) {
    HWND window = RegisterMessageWindow();
    std::thread reader([&] {
        MSG msg;
        EXPECT_FALSE(CMessageWindows::GetMessage(window, &msg, std::chrono::milliseconds::max()));
    });
    UnregisterMessageWindow(window);
    reader.join();
}

}  // namespace

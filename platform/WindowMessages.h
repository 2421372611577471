// Window messages: how filters hand numbers and heap blocks to the host without waiting for it.
//
// An HWND here is an opaque handle to a message queue that the host registers with
// RegisterMessageWindow and reads with GetMessage or PeekMessage. PostMessageW appends
// (message, wParam, lParam) and returns at once. Messages from one thread arrive in the order
// that thread posted them; messages from different threads interleave in the order they were
// appended. A handle is never reused within a process, so a stale handle is simply unknown.
// Ownership: a heap block whose address travels in a message belongs to the receiver from the
// moment PostMessageW answers true; when it answers false (null, unknown or unregistered window)
// the block still belongs to the sender, who must free it. UnregisterMessageWindow hands back
// the messages that were never read, so that the host can free their blocks.
// Threads: every function may be called from any thread; PostMessageW never blocks on a reader.
// Failures: PostMessageW answers false for a null, unknown or unregistered window or when the
// message could not be stored; GetMessage and PeekMessage answer false for an unknown window, a
// null out pointer, or when no message came.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

struct HWND__;
using HWND = HWND__*;
using UINT = uint32_t;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;

struct MSG {
    HWND hwnd = nullptr;
    UINT message = 0;
    WPARAM wParam = 0;
    LPARAM lParam = 0;
};

// Posts a message to `hwnd` without waiting; true if it was queued.
bool PostMessageW(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);

class CMessageWindows {
public:
    // A new, empty message queue; never null.
    static HWND Register();
    // Removes the queue: later posts to it fail, a GetMessage waiting on it returns false. Answers
    // the messages that were still queued (empty for an unknown window).
    static std::vector<MSG> Unregister(HWND hwnd);
    // Takes the oldest message of `hwnd`, waiting up to `timeout` for one (CUWaitInfinite-like
    // std::chrono::milliseconds::max() waits without limit).
    static bool GetMessage(HWND hwnd, MSG* msg, std::chrono::milliseconds timeout);
    // Takes the oldest message if there is one; never waits.
    static bool PeekMessage(HWND hwnd, MSG* msg);
};

inline HWND RegisterMessageWindow() {
    return CMessageWindows::Register();
}
inline std::vector<MSG> UnregisterMessageWindow(HWND hwnd) {
    return CMessageWindows::Unregister(hwnd);
}

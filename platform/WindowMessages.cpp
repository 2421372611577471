#include "platform/WindowMessages.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <new>

namespace {

struct MessageQueue {
    std::mutex lock;
    std::condition_variable arrived;  // guarded by `lock`
    std::deque<MSG> messages;         // guarded by `lock`
    bool closed = false;              // guarded by `lock`
};

// The registered windows by handle value. Handles count up from 1 and are never reused.
struct Registry {
    std::mutex lock;
    std::map<uintptr_t, std::shared_ptr<MessageQueue>> windows;  // guarded by `lock`
    uintptr_t next = 1;                                          // guarded by `lock`
};

Registry& TheRegistry() {
    static Registry registry;
    return registry;
}

std::shared_ptr<MessageQueue> Find(HWND hwnd) {
    Registry& registry = TheRegistry();
    std::lock_guard guard(registry.lock);
    auto found = registry.windows.find(reinterpret_cast<uintptr_t>(hwnd));
    return found == registry.windows.end() ? nullptr : found->second;
}

}  // namespace

bool PostMessageW(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    if (!hwnd) return false;
    std::shared_ptr<MessageQueue> queue = Find(hwnd);
    if (!queue) return false;
    {
        std::lock_guard guard(queue->lock);
        if (queue->closed) return false;
        try {
            queue->messages.push_back(MSG{hwnd, message, wParam, lParam});
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    queue->arrived.notify_one();
    return true;
}

HWND CMessageWindows::Register() {
    Registry& registry = TheRegistry();
    auto queue = std::make_shared<MessageQueue>();
    std::lock_guard guard(registry.lock);
    const uintptr_t id = registry.next++;
    registry.windows.emplace(id, std::move(queue));
    return reinterpret_cast<HWND>(id);
}

std::vector<MSG> CMessageWindows::Unregister(HWND hwnd) {
    std::shared_ptr<MessageQueue> queue;
    {
        Registry& registry = TheRegistry();
        std::lock_guard guard(registry.lock);
        auto found = registry.windows.find(reinterpret_cast<uintptr_t>(hwnd));
        if (found == registry.windows.end()) return {};
        queue = std::move(found->second);
        registry.windows.erase(found);
    }
    std::vector<MSG> left;
    {
        std::lock_guard guard(queue->lock);
        queue->closed = true;
        left.assign(queue->messages.begin(), queue->messages.end());
        queue->messages.clear();
    }
    queue->arrived.notify_all();
    return left;
}

bool CMessageWindows::GetMessage(HWND hwnd, MSG* msg, std::chrono::milliseconds timeout) {
    if (!msg) return false;
    std::shared_ptr<MessageQueue> queue = Find(hwnd);
    if (!queue) return false;
    std::unique_lock guard(queue->lock);
    const auto ready = [&] { return queue->closed || !queue->messages.empty(); };
    if (timeout == std::chrono::milliseconds::max()) {
        queue->arrived.wait(guard, ready);
    } else if (!queue->arrived.wait_for(guard, timeout, ready)) {
        return false;
    }
    if (queue->messages.empty()) return false;  // closed
    *msg = queue->messages.front();
    queue->messages.pop_front();
    return true;
}

bool CMessageWindows::PeekMessage(HWND hwnd, MSG* msg) {
    return GetMessage(hwnd, msg, std::chrono::milliseconds(0));
}

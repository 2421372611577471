// EventLog: the JSON lines of `qvclip play --events FILE.jsonl`, one object a line, each with an
// "event" key. Events come from the streaming threads (frames, quality messages) and from the
// host's thread (jumps), so every line is written whole under a lock, in the order it came.
// A log without a file takes the calls and writes nothing.
// Failures: the constructor throws ClipError when the file cannot be made; a write that fails
// later is reported once by Close (false).
#pragma once

#include <cstdio>
#include <mutex>
#include <string>

#include "tools/qvclip/ClipOutput.h"

namespace qvclip {

class EventLog {
public:
    // An empty path: no file.
    explicit EventLog(const std::string& path);
    ~EventLog();
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    bool Enabled() const { return file != nullptr; }
    void Write(const Json& event);
    // Flushes and closes; false when any line could not be written.
    bool Close();

private:
    std::mutex lock;
    std::FILE* file = nullptr;  // guarded by `lock`
    bool failed = false;        // guarded by `lock`
};

}  // namespace qvclip

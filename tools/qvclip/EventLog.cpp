#include "tools/qvclip/EventLog.h"

#include <cerrno>
#include <cstring>

#include "tools/qvclip/ClipSession.h"

namespace qvclip {

EventLog::EventLog(const std::string& path) {
    if (path.empty()) return;
    file = std::fopen(path.c_str(), "w");
    if (!file) throw ClipError(path + ": cannot write the event file: " + std::strerror(errno));
}

EventLog::~EventLog() {
    Close();
}

void EventLog::Write(const Json& event) {
    std::lock_guard<std::mutex> guard(lock);
    if (!file) return;
    const std::string line = event.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    if (std::fwrite(line.data(), 1, line.size(), file) != line.size()) failed = true;
}

bool EventLog::Close() {
    std::lock_guard<std::mutex> guard(lock);
    if (file) {
        if (std::fclose(file) != 0) failed = true;
        file = nullptr;
    }
    return !failed;
}

}  // namespace qvclip

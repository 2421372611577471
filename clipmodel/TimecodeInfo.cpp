#include "clipmodel/TimecodeInfo.h"

#include <string>
#include <tuple>

bool TimecodeInfo::IsLess(const TimecodeInfo& other) const {
    // Drop-frame marks how the frames were counted, not where in time they lie.
    return std::tie(hours, minutes, seconds, frames) <
           std::tie(other.hours, other.minutes, other.seconds, other.frames);
}

CUSharedPtr<CUStringWin> TimecodeInfo::Description() const {
    std::string text = std::to_string(hours) + ":" + std::to_string(minutes) + ":" +
                       std::to_string(seconds) + ":" + std::to_string(frames);
    if (dropFrame != 0) text += " DF";
    return CUCreate<CUStringWin>(text.c_str());
}

// TimecodeInfo: a SMPTE timecode (hours, minutes, seconds, frames, drop-frame) as the clip
// information, the system items and the timecode pins share it. TimecodeInfoEX adds the flag bits
// of the 12M stamp and the date of a creation stamp.
// No lock: a value, filled by one thread and then only read.
#pragma once

#include <cstdint>

#include "foundation/CUStringWin.h"

class TimecodeInfo : public CUObject {
public:
    // By hours, then minutes, seconds and frames; drop-frame takes no part.
    virtual bool IsLess(const TimecodeInfo& other) const;
    // "H:M:S:F" as plain decimal numbers without padding, and " DF" behind when drop-frame.
    CUSharedPtr<CUStringWin> Description() const override;

    uint8_t frames = 0;
    uint8_t dropFrame = 0;
    uint8_t seconds = 0;
    uint8_t minutes = 0;
    uint8_t hours = 0;
};

class TimecodeInfoEX : public TimecodeInfo {
public:
    uint8_t colorFrame = 0;
    uint8_t secondsFlag = 0;
    uint8_t minutesFlag = 0;
    uint8_t hoursFlag6 = 0;
    uint8_t hoursFlag7 = 0;
    uint8_t day = 0;
    uint8_t month = 0;
    uint16_t year = 0;
    uint8_t timeZone = 0;
};

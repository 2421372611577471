#include "tools/qvclip/synth/Timecode.h"

#include <cstdio>

namespace synth {

namespace {

constexpr uint64_t SecondsPerDay = 24 * 3600;

uint32_t DroppedPerMinute(uint32_t base, bool drop) {
    return drop ? base / 15 : 0;
}

uint8_t BCD(uint32_t value) {
    return static_cast<uint8_t>((value / 10) << 4 | (value % 10));
}

}  // namespace

std::optional<Timecode> Timecode::Parse(std::string_view text, uint32_t base, bool drop) {
    if (text.size() != 11 || text[2] != ':' || text[5] != ':') return std::nullopt;
    if (text[8] != ':' && text[8] != ';' && text[8] != '.') return std::nullopt;
    uint32_t fields[4] = {};
    for (size_t i = 0; i < 4; ++i) {
        const char high = text[i * 3], low = text[i * 3 + 1];
        if (high < '0' || high > '9' || low < '0' || low > '9') return std::nullopt;
        fields[i] = static_cast<uint32_t>((high - '0') * 10 + (low - '0'));
    }
    Timecode result{fields[0], fields[1], fields[2], fields[3]};
    if (result.hours > 23 || result.minutes > 59 || result.seconds > 59 || result.frames >= base)
        return std::nullopt;
    if (result.seconds == 0 && result.minutes % 10 != 0 &&
        result.frames < DroppedPerMinute(base, drop))
        return std::nullopt;
    return result;
}

Timecode Timecode::FromFrameCount(uint64_t count, uint32_t base, bool drop) {
    const uint64_t dropped = DroppedPerMinute(base, drop);
    if (dropped != 0) {
        // Put the skipped numbers back, so that the count reads as a plain one.
        const uint64_t perTenMinutes = base * 600 - dropped * 9;
        const uint64_t perMinute = base * 60 - dropped;
        const uint64_t tens = count / perTenMinutes, rest = count % perTenMinutes;
        count += dropped * 9 * tens;
        if (rest > dropped) count += dropped * ((rest - dropped) / perMinute);
    }
    const uint64_t totalSeconds = (count / base) % SecondsPerDay;
    return {static_cast<uint32_t>(totalSeconds / 3600),
            static_cast<uint32_t>(totalSeconds / 60 % 60), static_cast<uint32_t>(totalSeconds % 60),
            static_cast<uint32_t>(count % base)};
}

uint64_t Timecode::FrameCount(uint32_t base, bool drop) const {
    const uint64_t totalMinutes = uint64_t{hours} * 60 + minutes;
    const uint64_t plain = (totalMinutes * 60 + seconds) * base + frames;
    return plain - DroppedPerMinute(base, drop) * (totalMinutes - totalMinutes / 10);
}

std::array<uint8_t, 4> Timecode::Packed(bool drop) const {
    return {static_cast<uint8_t>(BCD(frames) | (drop ? 0x40 : 0)), BCD(seconds), BCD(minutes),
            BCD(hours)};
}

std::string Timecode::Text(bool drop) const {
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u%c%02u", hours, minutes, seconds,
                  drop ? ';' : ':', frames);
    return text;
}

}  // namespace synth

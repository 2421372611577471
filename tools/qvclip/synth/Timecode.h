// Timecode: hours, minutes, seconds and frames at a whole-number base (25, 30, 60 ...), with the
// drop-frame count of the 1001 rates (two frame numbers dropped each minute at base 30, four at
// base 60, except every tenth minute). Values wrap at 24 hours. A plain value: no state.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace synth {

struct Timecode {
    uint32_t hours = 0, minutes = 0, seconds = 0, frames = 0;

    // "HH:MM:SS:FF", with ";" or "." accepted before the frames. Nothing when malformed, out of
    // range for `base`, or a number that drop-frame counting skips.
    static std::optional<Timecode> Parse(std::string_view text, uint32_t base, bool drop);
    static Timecode FromFrameCount(uint64_t count, uint32_t base, bool drop);
    uint64_t FrameCount(uint32_t base, bool drop) const;

    // SMPTE 12M in four BCD bytes, frames first; bit 6 of the first byte marks drop frame.
    std::array<uint8_t, 4> Packed(bool drop) const;
    std::string Text(bool drop) const;
};

}  // namespace synth

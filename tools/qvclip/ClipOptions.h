// ClipOptions and FrameRange: the options that the clip-reading subcommands share. A clip is
// PATH or --members F1 F2 ... (exactly one of the two); --json switches the output from text for
// people to JSON for machines; --from and --count choose frames.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/qvclip/ClipSession.h"

namespace CLI {
class App;
}

namespace qvclip {

struct ClipOptions {
    std::string path;
    std::vector<std::string> members;
    bool json = false;

    void Register(CLI::App& app);
    // Opens the clip; ClipError on failure.
    ClipSession Open() const;
};

// Frames [first, end) of a clip.
struct FrameSpan {
    uint64_t first = 0, end = 0;
};

// --from takes a frame number or the timecode of a frame (HH:MM:SS:FF, ';' before the frames of a
// drop-frame timecode), counted from the timecode of the clip's first frame.
struct FrameRange {
    std::string from = "0";
    uint64_t count = UINT64_MAX;  // to the end

    void Register(CLI::App& app);
    // ClipError when --from is not a frame or timecode, lies before the clip's first timecode or
    // beyond the clip; --count is cut at the clip's end.
    FrameSpan Resolve(ClipSession& session) const;
};

}  // namespace qvclip

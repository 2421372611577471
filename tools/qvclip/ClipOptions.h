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

struct FrameRange {
    uint64_t from = 0;
    uint64_t count = UINT64_MAX;  // to the end

    void Register(CLI::App& app);
    // ClipError when --from lies beyond the clip; --count is cut at the clip's end.
    FrameSpan Resolve(const ClipSession& session) const;
};

}  // namespace qvclip

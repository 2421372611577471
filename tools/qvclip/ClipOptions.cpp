#include "tools/qvclip/ClipOptions.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace qvclip {

void ClipOptions::Register(CLI::App& app) {
    CLI::Option* single = app.add_option("PATH", path, "The clip: an .MXF file (or .CIF, .MP4)");
    CLI::Option* list = app.add_option("--members", members,
                                       "The clip as MXF member files in playing order, listed "
                                       "as the host lists them");
    single->excludes(list);
    list->excludes(single);
    app.add_flag("--json", json, "JSON for machines instead of text");
    app.callback([this] {
        if (path.empty() && members.empty()) throw CLI::ValidationError("give PATH or --members");
    });
}

ClipSession ClipOptions::Open() const {
    return members.empty() ? ClipSession::OpenPath(path) : ClipSession::OpenMembers(members);
}

void FrameRange::Register(CLI::App& app) {
    app.add_option("--from", from, "First frame, from 0")->capture_default_str();
    app.add_option("--count", count, "Frames to take (default: to the end)");
}

FrameSpan FrameRange::Resolve(const ClipSession& session) const {
    const uint64_t frames = session.FrameCount();
    if (from > 0 && from >= frames)
        throw ClipError(session.Name() + ": --from " + std::to_string(from) +
                        " is beyond the clip's " + std::to_string(frames) + " frames");
    return {from, from + std::min(count, frames - from)};
}

}  // namespace qvclip

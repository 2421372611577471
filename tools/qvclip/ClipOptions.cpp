#include "tools/qvclip/ClipOptions.h"
#include "tools/qvclip/ClipOutput.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "clipmodel/CMBXAnalyzeSystemItemData.h"
#include "foundation/CUMemoryStream.h"
#include "tools/qvclip/MetadataJson.h"

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
    app.add_option("--from", from,
                   "First frame: a number from 0, or a timecode HH:MM:SS:FF of the clip")
        ->capture_default_str();
    app.add_option("--count", count, "Frames to take (default: to the end)");
}

namespace {

struct Timecode {
    uint32_t hours = 0, minutes = 0, seconds = 0, frames = 0;
    bool dropFrame = false;
};

bool ParseTimecode(const std::string& text, Timecode* timecode) {
    uint32_t parts[4] = {};
    const char* at = text.data();
    const char* end = text.data() + text.size();
    for (int i = 0; i < 4; ++i) {
        const auto [next, error] = std::from_chars(at, end, parts[i]);
        if (error != std::errc() || next - at != 2) return false;
        at = next;
        if (i == 3) break;
        if (at == end || (*at != ':' && !(i == 2 && (*at == ';' || *at == '.')))) return false;
        if (i == 2) timecode->dropFrame = *at != ':';
        ++at;
    }
    if (at != end) return false;
    *timecode = {parts[0], parts[1], parts[2], parts[3], timecode->dropFrame};
    return timecode->minutes < 60 && timecode->seconds < 60;
}

// Frames from 00:00:00:00 at `base` frames a second (rounded rate); a drop-frame count leaves
// out two numbers a minute (four at 60), except every tenth minute.
int64_t FrameNumber(const Timecode& tc, int64_t base, bool dropFrame) {
    const int64_t minutes = 60 * int64_t{tc.hours} + tc.minutes;
    int64_t n = (minutes * 60 + tc.seconds) * base + tc.frames;
    if (dropFrame) n -= (base / 30 * 2) * (minutes - minutes / 10);
    return n;
}

}  // namespace

FrameSpan FrameRange::Resolve(ClipSession& session) const {
    const uint64_t frames = session.FrameCount();
    uint64_t first = 0;
    const auto [end, error] = std::from_chars(from.data(), from.data() + from.size(), first);
    if (error != std::errc() || end != from.data() + from.size()) {
        Timecode wanted;
        if (!ParseTimecode(from, &wanted))
            throw ClipError(session.Name() + ": --from " + from +
                            " is neither a frame number nor a timecode HH:MM:SS:FF");
        // The clip's first timecode, from the system item of frame 0.
        const FrameElements& elements = session.Read(0, ClipElementSystem);
        CUSharedPtr<CUMemoryStream> stream =
            CUCreate<CUMemoryStream>(elements.system.data(), elements.system.size());
        CUSharedPtr<CMBXAnalyzeSystemItemData> analyser =
            stream ? CUCreate<CMBXAnalyzeSystemItemData>(stream) : nullptr;
        bool analysed = false;
        if (analyser) {
            ModuleOutputAside aside;
            analysed = analyser->Analyze();
        }
        if (!analysed || !analyser->timecode || !HasUserStamp(elements.system))
            throw ClipError(session.Name() + ": the clip carries no timecode for --from " + from);
        std::pair<uint32_t, uint32_t> rate{0, 0};
        session.Manager().GetFrameRate(rate);
        const int64_t base =
            rate.second ? static_cast<int64_t>(std::lround(double(rate.first) / rate.second)) : 0;
        const TimecodeInfo& start = *analyser->timecode;
        const bool dropFrame = start.dropFrame != 0;
        const Timecode origin{start.hours, start.minutes, start.seconds, start.frames, dropFrame};
        const int64_t offset =
            FrameNumber(wanted, base, dropFrame) - FrameNumber(origin, base, dropFrame);
        if (base <= 0 || offset < 0)
            throw ClipError(session.Name() + ": --from " + from + " lies before the clip's " +
                            TimecodeText(start));
        first = static_cast<uint64_t>(offset);
    }
    if (first > 0 && first >= frames)
        throw ClipError(session.Name() + ": --from " + from + " is beyond the clip's " +
                        std::to_string(frames) + " frames");
    return {first, first + std::min(count, frames - first)};
}

}  // namespace qvclip

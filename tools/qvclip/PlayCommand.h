// `qvclip play`: the clip through the filter graph, as the desktop host plays it: the parser and
// the movie decode filter made by class id from the module's class table, the decoded pictures
// into a picture sink (--compressed: the parser's pictures straight into the sink). As fast as the
// graph goes by default, or against the clock (--realtime); from a frame (--from, a seek before
// running) for a number of frames (--count); every rendered frame, quality message and frame
// jump as a JSON line (--events FILE.jsonl); a summary at the end (text, or --json).
#pragma once

#include <string>

#include "tools/qvclip/ClipOptions.h"
#include "tools/qvclip/Command.h"

namespace qvclip {

class PlayCommand : public Command {
public:
    void Register(CLI::App& parent) override;
    int Run() override;

private:
    ClipOptions clip;
    FrameRange range;
    bool realtime = false;
    bool compressed = false;
    bool md5 = false;
    std::string eventsPath;
};

}  // namespace qvclip

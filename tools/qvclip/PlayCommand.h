// `qvclip play`: the clip through the whole filter graph, as the desktop host plays it (see
// PlaybackGraph): pictures decoded, reduced (--scale), converted (--convert, --lut-dir,
// --display-nits) into a picture sink that can write them (--frames-out, --every, --raw,
// --contact-sheet); sound folded down by channel roles (--roles), gated (--mute) and written
// (--wav), with its levels; timecode and metadata; every message the host receives, every frame
// and quality message as JSON lines (--events). As fast as the graph goes, or against the clock
// (--realtime); from a frame or timecode (--from) for a number of frames (--count). A progress bar
// on a terminal; a summary at the end (text, or --json).
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
    bool decodeOnly = false;
    bool md5 = false;
    std::string eventsPath;
    uint32_t scale = 0;
    bool convert = false;
    std::string lutDir;
    uint32_t displayNits = 0;
    std::string framesOut;
    uint32_t every = 1;
    bool raw = false;
    std::string contactSheet;
    std::string wavPath;
    std::string roles;
    std::string mute;
};

}  // namespace qvclip

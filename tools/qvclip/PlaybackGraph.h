// PlaybackGraph: the graph that `qvclip play` runs: a parser filter and the movie decode filter,
// made through the module's class table, with the host's clip loaded, and a PictureSink behind
// them (parser -> decoder -> sink; or the compressed pictures straight from the parser to the sink
// when asked). The graph owns the filters; the host drives it through Seek, Run, the events and
// Stop.
// Threads: the host's thread only; the sink and the event log take what comes from the streaming
// threads. Failures: the constructor throws ClipError naming what failed (the filter could not be
// made, the clip did not load, the pins did not connect).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "filters/FrameTime.h"
#include "filters/ParseFilter.h"
#include "platform/FilterGraph.h"
#include "tools/qvclip/PictureSink.h"

namespace qvclip {

struct PlaybackSetup {
    std::string path;                  // the clip, or its first member
    std::vector<std::string> members;  // a file-list clip when not empty
    bool realtime = false;
    frame_time::Rate rate{0, 0};
    int64_t frameCount = 0;
    int64_t endFrame = 0;  // frames from here on are not rendered
    bool decode = true;    // false: the sink takes the compressed pictures
    bool md5 = false;      // each frame event carries the MD5 of the picture's bytes
};

class PlaybackGraph {
public:
    PlaybackGraph(const PlaybackSetup& setup, EventLog& log);
    ~PlaybackGraph();
    PlaybackGraph(const PlaybackGraph&) = delete;
    PlaybackGraph& operator=(const PlaybackGraph&) = delete;

    // Moves the start to `frame` before running.
    void Seek(int64_t frame);
    // Runs until the sink ended the range, the stream ended or failed. Jumps of the video pin go
    // to the event log as they come. Answers the failure of an aborted stream, else S_OK.
    HRESULT Play();
    void Stop() { graph.Stop(); }

    const PictureSink& Sink() const { return *sink; }

private:
    CFilterGraph graph;
    // A filter of the module's class table, referenced; throws ClipError when it cannot be made.
    CBaseFilter* MakeFilter(const CLSID& clsid, const char* what);

    CParseFilter* parser = nullptr;   // referenced
    CBaseFilter* decoder = nullptr;   // referenced; null when not decoding
    PictureSink* sink = nullptr;      // referenced
    EventLog& log;
};

}  // namespace qvclip

// PlaybackGraph: the graph that `qvclip play` runs, built as the host builds it, every module
// filter made through the module's class table:
//   pictures: parser -> movie decode -> movie resize (reduced pictures only) -> convert -> sink
//   sound:    parser -> range gate -> sound splitter -> sound mixer (16-bit) -> sound sink
//             splitter levels -> audio level renderer
//   timecode: parser -> range gate -> timecode renderer
// The renderers post their timecode, metadata and level messages to the host's queue
// (HostMessages). 24-bit sound does not pass the mixer, whose output is 16-bit stereo whatever it
// takes: the sound sink then silences a muted side itself, so no bit is lost.
// With `decode` off the compressed pictures go straight to the sink, with `decodeOnly` the
// decoded ones (resized when asked); the other paths stay out then.
// The graph owns the filters; the host drives it through Seek, Play and Stop.
// Threads: the host's thread only; the sinks, the gates and the message queue take what comes
// from the streaming threads. Failures: the constructor throws ClipError naming what failed (a
// filter could not be made, the clip did not load, pins did not connect).
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "filters/FrameTime.h"
#include "filters/ParseFilter.h"
#include "platform/FilterGraph.h"
#include "tools/qvclip/HostMessages.h"
#include "tools/qvclip/PictureSink.h"
#include "tools/qvclip/SoundSink.h"
#include "tools/qvclip/StepClock.h"

namespace qvclip {

struct PlaybackSetup {
    std::string path;                  // the clip, or its first member
    std::vector<std::string> members;  // a file-list clip when not empty
    bool realtime = false;
    frame_time::Rate rate{0, 0};
    int64_t frameCount = 0;
    int64_t firstFrame = 0;
    int64_t endFrame = 0;  // frames from here on are not played
    bool decode = true;    // false: the sink takes the compressed pictures
    bool decodeOnly = false;  // the decoder's pictures straight into the sink, nothing else
    bool md5 = false;      // each frame event carries the MD5 of the picture's bytes
    uint32_t scale = 0;    // 0 full size, 1 half, 2 quarter
    bool convert = false;  // the convert filter's target conversion
    PictureOutput pictures;
    ContactSheet* sheet = nullptr;
    uint32_t channels = 0;       // of the clip's sound; 0: no sound path
    uint32_t soundBits = 0;
    std::vector<uint32_t> roles;  // a role for each channel; empty: odd channels left, even right
    SideMute mute;
    std::string wavPath;
};

class PlaybackGraph {
public:
    PlaybackGraph(const PlaybackSetup& setup, EventLog& log);
    ~PlaybackGraph();
    PlaybackGraph(const PlaybackGraph&) = delete;
    PlaybackGraph& operator=(const PlaybackGraph&) = delete;

    // Moves every stream's start to `frame`; before the first Play.
    void Seek(int64_t frame);
    // Runs until every renderer has reported the end of its range, or a stream failed. Jumps of
    // the video pin go to the event log as they come. Answers the failure of an aborted stream,
    // else S_OK. `progress` is called about ten times a second from this thread.
    HRESULT Play(const std::function<void()>& progress = {});
    // Stops the graph and takes the messages still queued.
    void Stop();

    const PictureSink& Pictures() const { return *pictureSink; }
    SoundSink* Sound() const { return soundSink; }
    const HostMessages* Messages() const { return messages.get(); }

private:
    // A filter of the module's class table, referenced and in the graph; throws ClipError.
    CBaseFilter* MakeFilter(const CLSID& clsid, const char* what);
    // A host filter, referenced and in the graph.
    template <class Filter>
    Filter* Adopt(Filter* filter, HRESULT hr, const char* what);
    void Connect(IPin* from, IPin* to, const std::string& what);
    template <class Interface>
    Interface* Query(CBaseFilter* filter, REFIID iid, const char* what);
    void BuildPictures(const PlaybackSetup& setup);
    void BuildSound(const PlaybackSetup& setup);
    void BuildTimecode(const PlaybackSetup& setup);

    const PlaybackSetup setup;
    CFilterGraph graph;
    std::vector<CBaseFilter*> filters;  // referenced, for release in the destructor
    CParseFilter* parser = nullptr;
    PictureSink* pictureSink = nullptr;
    SoundSink* soundSink = nullptr;
    CBaseFilter* timecodeRenderer = nullptr;
    CBaseFilter* levelRenderer = nullptr;
    StepClock* step = nullptr;  // referenced; as fast as possible only
    std::unique_ptr<HostMessages> messages;
    EventLog& log;
    std::string name;  // the clip, for messages
};

}  // namespace qvclip

// HostMessages: the host's message queue of `qvclip play`, where the timecode renderer posts each
// frame's timecode and metadata messages and the level renderer the levels of each sound sample.
// A thread of its own takes the messages in order, turns each into an event line ("timecode",
// "metadata", "level"), frees the blocks a metadata message hands over, and counts them.
//
// For a metadata message the analysis of the frame comes from the renderer (GetAnalyzedData); it
// is reported when its timecode is that of the frame's timecode message (a renderer that has
// moved on has another frame's analysis). `step`, when given, is moved one frame on after each
// metadata message: the renderer on that clock then renders the next frame only after the host
// took this one, so the analysis is always the frame's.
// Threads: the constructor and Stop on the host's thread; the handlers on the queue's thread.
// Ownership: the object owns its queue (HWND) and its thread; it references `timecodeRenderer`
// and `step`. Failures: none; unread messages are freed by Stop.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "filters/FrameTime.h"
#include "filters/TimecodeRenderer.h"
#include "platform/WindowMessages.h"
#include "tools/qvclip/EventLog.h"
#include "tools/qvclip/StepClock.h"

namespace qvclip {

class HostMessages {
public:
    static constexpr UINT kTimecodeMessage = 0x8001;  // the platform's first application number
    static constexpr UINT kMetaDataMessage = 0x8002;
    static constexpr UINT kLevelMessage = 0x8003;

    // `channels`: the sound's channel count, of which the levels report at most four.
    HostMessages(EventLog& log, IMSFRealtimeMetaDataRenderer* timecodeRenderer, bool mp4,
                 uint32_t channels, frame_time::Rate rate, StepClock* step);
    ~HostMessages();
    HostMessages(const HostMessages&) = delete;
    HostMessages& operator=(const HostMessages&) = delete;

    HWND Window() const { return window; }
    // Takes the messages still queued, then ends the thread and the queue.
    void Stop();

    uint64_t Timecodes() const { return timecodes.load(); }
    uint64_t MetaData() const { return metadata.load(); }
    uint64_t Levels() const { return levels.load(); }

private:
    static constexpr UINT kQuitMessage = 0x80FF;

    void Pump();
    void Handle(const MSG& msg);
    void OnTimecode(WPARAM wParam, LPARAM lParam);
    void OnMetaData(WPARAM wParam, LPARAM lParam);
    void OnLevel(WPARAM wParam, LPARAM lParam);

    EventLog& log;
    IMSFRealtimeMetaDataRenderer* const renderer;  // referenced; may be null
    const bool mp4;
    const uint32_t channels;
    const frame_time::Rate rate;
    StepClock* const step;  // referenced; may be null
    HWND window;
    std::thread thread;
    std::string lastTimecode;  // queue thread only: the text of the last timecode message
    std::atomic<uint64_t> timecodes{0}, metadata{0}, levels{0};
};

}  // namespace qvclip

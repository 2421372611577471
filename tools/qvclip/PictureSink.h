// PictureSink: the renderer at the end of `qvclip play`'s picture stream. It keeps nothing of the
// pictures (later it writes what it is asked to): it counts them, tells the event log the clip
// frame of each one it renders (with the MD5 of its bytes when asked) and every quality message it
// sends upstream, and ends the stream
// once a frame at or past the end of the range arrives (EC_QV_RANGE_PLAYED to the graph).
// Against the graph's clock when `realtime`, else as fast as samples come.
//
// The clip frame of a sample is the frame its segment started at plus the frames its time counts;
// a seek to the clip's end shows the last frame.
// Threads: the hooks run on the upstream streaming thread; the counts are read by the host after
// the graph stopped, or through the atomic counters while it runs.
#pragma once

#include <atomic>
#include <cstdint>

#include "filters/FrameTime.h"
#include "filters/ParserEvents.h"
#include "platform/BaseRenderer.h"
#include "tools/qvclip/EventLog.h"

namespace qvclip {

// The sink rendered the last frame of the range asked for.
inline constexpr long EC_QV_RANGE_PLAYED = EC_QV_USER + 0x100;

class PictureSink : public CBaseRenderer {
public:
    // Frames [.., endFrame) are rendered; `frameCount` is the clip's.
    PictureSink(bool realtime, frame_time::Rate rate, int64_t frameCount, int64_t endFrame,
                bool md5, EventLog& log, HRESULT* phr);

    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT SetSyncSource(IReferenceClock* clock) override;
    HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
    HRESULT DoRenderSample(IMediaSample* sample) override;

    uint64_t Rendered() const { return rendered.load(); }
    // First and last clip frame rendered; -1 before the first.
    int64_t FirstFrame() const { return firstFrame.load(); }
    int64_t LastFrame() const { return lastFrame.load(); }

protected:
    void SendQuality(const Quality& q) override;

private:
    const bool realtime;
    const frame_time::Rate rate;
    const int64_t frameCount;
    const int64_t endFrame;
    const bool md5;
    EventLog& log;
    int64_t segmentFrame = 0;  // streaming thread only
    bool ended = false;        // streaming thread only
    std::atomic<uint64_t> rendered{0};
    std::atomic<int64_t> firstFrame{-1};
    std::atomic<int64_t> lastFrame{-1};
};

}  // namespace qvclip

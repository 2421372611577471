// PictureSink: the renderer at the end of `qvclip play`'s picture stream. It counts the pictures,
// tells the event log the clip frame of each one it renders (with the MD5 of its bytes when
// asked) and every quality message it sends upstream, writes every Nth picture to a folder (PNG,
// or the raw 32-bit bytes) and offers each to the contact sheet. The first picture at or past the
// end of the range ends its stream: EC_COMPLETE goes to the graph, as it would at the clip's end,
// and the source is told to stop (S_FALSE).
// Against the graph's clock when `realtime`, else as fast as samples come.
//
// The clip frame of a sample is the frame its segment started at plus the frames its time counts;
// a seek to the clip's end shows the last frame. Pictures are written only when they are 32-bit
// (the convert filter's "BGR4"), top row first.
// Threads: the hooks run on the upstream streaming thread; the counts are read by the host after
// the graph stopped, or through the atomic counters while it runs. Failures: a picture that
// cannot be written is counted and the first reason kept (WriteFailure); playing goes on.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "filters/FrameTime.h"
#include "filters/ParserEvents.h"
#include "platform/BaseRenderer.h"
#include "tools/qvclip/ContactSheet.h"
#include "tools/qvclip/EventLog.h"

namespace qvclip {

struct PictureOutput {
    std::string folder;  // empty: no pictures written
    uint32_t every = 1;  // every Nth picture rendered, the first included
    bool raw = false;    // "frame-000123.bgr" (B, G, R, unused) instead of PNG
};

class PictureSink : public CBaseRenderer {
public:
    // Frames [.., endFrame) are rendered; `frameCount` is the clip's. `sheet` may be null.
    PictureSink(bool realtime, frame_time::Rate rate, int64_t frameCount, int64_t endFrame,
                bool md5, EventLog& log, PictureOutput output, ContactSheet* sheet, HRESULT* phr);

    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT SetSyncSource(IReferenceClock* clock) override;
    HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;
    HRESULT PrepareReceive(IMediaSample* sample) override;
    HRESULT DoRenderSample(IMediaSample* sample) override;
    HRESULT EndOfStream() override;
    void OnReceiveFirstSample(IMediaSample* sample) override;

    uint64_t Rendered() const { return rendered.load(); }
    // A picture is at the sink, held while paused or rendered.
    bool Cued() const { return cued.load(); }
    // The stream ended: at the range's end or the clip's.
    bool Finished() const { return finished.load(); }
    uint64_t Written() const { return written.load(); }
    // First and last clip frame rendered; -1 before the first.
    int64_t FirstFrame() const { return firstFrame.load(); }
    int64_t LastFrame() const { return lastFrame.load(); }
    // After the graph stopped: the first picture-writing failure, empty if none.
    const std::string& WriteFailure() const { return writeFailure; }

protected:
    void SendQuality(const Quality& q) override;

private:
    int64_t FrameOf(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                    bool* timed) const;
    void WritePicture(int64_t frame, const uint8_t* bytes, size_t length);

    const bool realtime;
    const frame_time::Rate rate;
    const int64_t frameCount;
    const int64_t endFrame;
    const bool md5;
    EventLog& log;
    const PictureOutput output;
    ContactSheet* const sheet;
    int64_t segmentFrame = 0;  // streaming thread only
    bool ended = false;        // streaming thread only
    std::string writeFailure;  // streaming thread, then the host after the stop
    std::atomic<bool> cued{false};
    std::atomic<bool> finished{false};
    std::atomic<uint64_t> rendered{0};
    std::atomic<uint64_t> written{0};
    std::atomic<int64_t> firstFrame{-1};
    std::atomic<int64_t> lastFrame{-1};
};

}  // namespace qvclip

#include "tools/qvclip/PictureSink.h"

#include <algorithm>

namespace qvclip {

PictureSink::PictureSink(bool realtime, frame_time::Rate rate, int64_t frameCount,
                         int64_t endFrame, bool md5, EventLog& log, HRESULT* phr)
    : CBaseRenderer(GUID_NULL, "qvclip picture sink", nullptr, phr),
      realtime(realtime),
      rate(rate),
      frameCount(frameCount),
      endFrame(endFrame),
      md5(md5),
      log(log) {}

HRESULT PictureSink::CheckMediaType(const CMediaType* pmt) {
    return pmt && *pmt->Type() == MEDIATYPE_Video ? S_OK : E_FAIL;
}

HRESULT PictureSink::SetSyncSource(IReferenceClock* clock) {
    // Without a clock every sample renders when it arrives: as fast as the graph goes.
    return CBaseRenderer::SetSyncSource(realtime ? clock : nullptr);
}

HRESULT PictureSink::OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME, double) {
    segmentFrame = frame_time::ToFrames(start, rate);
    ended = false;
    return S_OK;
}

HRESULT PictureSink::DoRenderSample(IMediaSample* sample) {
    if (ended) return S_FALSE;
    REFERENCE_TIME start = 0, stop = 0;
    const bool timed = SUCCEEDED(sample->GetTime(&start, &stop));
    const int64_t frame =
        std::min(segmentFrame + (timed ? frame_time::ToFrames(start, rate) : 0), frameCount - 1);
    if (frame >= endFrame) {
        ended = true;
        NotifyEvent(EC_QV_RANGE_PLAYED, 0, 0);
        return S_FALSE;  // the source stops delivering
    }
    ++rendered;
    if (firstFrame.load() < 0) firstFrame = frame;
    lastFrame = frame;
    if (log.Enabled()) {
        Json event = {{"event", "frame"},
                      {"frame", frame},
                      {"start", timed ? Json(start) : Json()},
                      {"stop", timed ? Json(stop) : Json()},
                      {"sync", sample->IsSyncPoint() == S_OK},
                      {"discontinuity", sample->IsDiscontinuity() == S_OK}};
        uint8_t* bytes = nullptr;
        if (md5 && SUCCEEDED(sample->GetPointer(&bytes)) && bytes) {
            const auto length = static_cast<size_t>(std::max(sample->GetActualDataLength(), 0));
            event["md5"] = Md5Hex({bytes, length});
        }
        log.Write(event);
    }
    return S_OK;
}

void PictureSink::SendQuality(const Quality& q) {
    if (log.Enabled())
        log.Write({{"event", "quality"},
                   {"late", q.Late},
                   {"proportion", q.Proportion},
                   {"type", q.Type == Flood ? "flood" : "famine"}});
    CBaseRenderer::SendQuality(q);
}

}  // namespace qvclip

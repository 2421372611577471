#include "tools/qvclip/PictureSink.h"

#include <algorithm>
#include <cstdio>

#include "filters/FilterIds.h"
#include "filters/VideoFormat.h"
#include "tools/qvclip/PngWriter.h"

namespace qvclip {

PictureSink::PictureSink(bool realtime, frame_time::Rate rate, int64_t frameCount,
                         int64_t endFrame, bool md5, EventLog& log, PictureOutput output,
                         ContactSheet* sheet, HRESULT* phr)
    : CBaseRenderer(GUID_NULL, "qvclip picture sink", nullptr, phr),
      realtime(realtime),
      rate(rate),
      frameCount(frameCount),
      endFrame(endFrame),
      md5(md5),
      log(log),
      output(std::move(output)),
      sheet(sheet) {}

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

int64_t PictureSink::FrameOf(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                             bool* timed) const {
    *timed = SUCCEEDED(sample->GetTime(start, stop));
    return std::min(segmentFrame + (*timed ? frame_time::ToFrames(*start, rate) : 0),
                    frameCount - 1);
}

HRESULT PictureSink::PrepareReceive(IMediaSample* sample) {
    if (ended) return S_FALSE;
    REFERENCE_TIME start = 0, stop = 0;
    bool timed = false;
    if (FrameOf(sample, &start, &stop, &timed) < endFrame) return S_OK;
    // The range is through: the stream ends here, as it would at the clip's end.
    ended = true;
    finished = true;
    cued = true;
    CBaseRenderer::EndOfStream();
    return S_FALSE;  // the source stops delivering
}

void PictureSink::OnReceiveFirstSample(IMediaSample*) {
    cued = true;
}

HRESULT PictureSink::EndOfStream() {
    if (ended) return S_OK;
    finished = true;
    cued = true;
    return CBaseRenderer::EndOfStream();
}

HRESULT PictureSink::DoRenderSample(IMediaSample* sample) {
    REFERENCE_TIME start = 0, stop = 0;
    bool timed = false;
    const int64_t frame = FrameOf(sample, &start, &stop, &timed);
    const uint64_t index = rendered++;
    cued = true;
    if (firstFrame.load() < 0) firstFrame = frame;
    lastFrame = frame;
    uint8_t* bytes = nullptr;
    const bool hasBytes = SUCCEEDED(sample->GetPointer(&bytes)) && bytes;
    const auto length = static_cast<size_t>(std::max(sample->GetActualDataLength(), 0));
    if (hasBytes && ((!output.folder.empty() && index % output.every == 0) || sheet))
        WritePicture(index % output.every == 0 ? frame : -1, bytes, length);
    if (log.Enabled()) {
        Json event = {{"event", "frame"},
                      {"frame", frame},
                      {"start", timed ? Json(start) : Json()},
                      {"stop", timed ? Json(stop) : Json()},
                      {"sync", sample->IsSyncPoint() == S_OK},
                      {"discontinuity", sample->IsDiscontinuity() == S_OK}};
        if (md5 && hasBytes) event["md5"] = Md5Hex({bytes, length});
        log.Write(event);
    }
    return S_OK;
}

// `fileFrame` -1: the picture goes to the contact sheet only.
void PictureSink::WritePicture(int64_t fileFrame, const uint8_t* bytes, size_t length) {
    const CMediaType& type = m_pInputPin->CurrentMediaType();
    if (*type.Subtype() != MEDIASUBTYPE_RGB32) return;  // only the converted pictures
    const video_format::Block block(type);
    const uint32_t width = block.U32(video_format::kOffsetBitmapWidth);
    const auto height = static_cast<uint32_t>(
        std::abs(static_cast<int32_t>(block.U32(video_format::kOffsetBitmapHeight))));
    const size_t stride = size_t{width} * 4;
    if (width == 0 || height == 0 || stride * height > length) return;
    const int64_t frame = lastFrame.load();
    if (sheet) sheet->Offer(frame, bytes, width, height, stride);
    if (output.folder.empty() || fileFrame < 0) return;
    char name[40];
    std::snprintf(name, sizeof name, "/frame-%06lld.%s", static_cast<long long>(fileFrame),
                  output.raw ? "bgr" : "png");
    const std::string path = output.folder + name;
    std::string error;
    bool ok = false;
    if (output.raw) {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        ok = file && std::fwrite(bytes, 1, stride * height, file) == stride * height;
        ok = (file && std::fclose(file) == 0) && ok;
        if (!ok) error = path + ": could not be written";
    } else {
        ok = WritePng(path, bytes, width, height, stride, PixelLayout::Bgr0, &error);
    }
    if (ok) {
        ++written;
    } else if (writeFailure.empty()) {
        writeFailure = error;
    }
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

#include "tools/qvclip/HostMessages.h"

#include <chrono>
#include <cstdio>

#include "filters/MetaDataMessage.h"
#include "tools/qvclip/MetadataJson.h"

namespace qvclip {

HostMessages::HostMessages(EventLog& log, IMSFRealtimeMetaDataRenderer* timecodeRenderer, bool mp4,
                           uint32_t channels, frame_time::Rate rate, StepClock* step)
    : log(log),
      renderer(timecodeRenderer),
      mp4(mp4),
      channels(channels),
      rate(rate),
      step(step),
      window(RegisterMessageWindow()) {
    if (renderer) renderer->AddRef();
    if (step) step->AddRef();
    thread = std::thread([this] { Pump(); });
}

HostMessages::~HostMessages() {
    Stop();
    if (renderer) renderer->Release();
    if (step) step->Release();
}

void HostMessages::Stop() {
    if (!thread.joinable()) return;
    PostMessageW(window, kQuitMessage, 0, 0);
    thread.join();
    // Whatever came after the quit message is still the host's to take and free.
    for (const MSG& msg : UnregisterMessageWindow(window)) Handle(msg);
}

void HostMessages::Pump() {
    MSG msg;
    while (CMessageWindows::GetMessage(window, &msg, std::chrono::milliseconds::max())) {
        if (msg.message == kQuitMessage) return;
        Handle(msg);
    }
}

void HostMessages::Handle(const MSG& msg) {
    switch (msg.message) {
    case kTimecodeMessage: return OnTimecode(msg.wParam, msg.lParam);
    case kMetaDataMessage: return OnMetaData(msg.wParam, msg.lParam);
    case kLevelMessage: return OnLevel(msg.wParam, msg.lParam);
    default: return;
    }
}

void HostMessages::OnTimecode(WPARAM wParam, LPARAM lParam) {
    ++timecodes;
    const auto packed = static_cast<uint32_t>(lParam);
    if (mp4) {
        // The MP4 renderer hands on the sample's first four bytes; their meaning is the clip's.
        char text[16];
        std::snprintf(text, sizeof text, "0x%08X", packed);
        lastTimecode = text;
        if (log.Enabled()) log.Write({{"event", "timecode"}, {"packed", lastTimecode}});
        return;
    }
    TimecodeInfo timecode;
    timecode.hours = packed & 0xFF;
    timecode.minutes = (packed >> 8) & 0xFF;
    timecode.seconds = (packed >> 16) & 0xFF;
    timecode.frames = (packed >> 24) & 0xFF;
    lastTimecode = TimecodeText(timecode);
    if (log.Enabled())
        log.Write({{"event", "timecode"}, {"timecode", lastTimecode}, {"dropFrame", wParam != 0}});
}

void HostMessages::OnMetaData(WPARAM wParam, LPARAM lParam) {
    const uint64_t frames = ++metadata;
    if (log.Enabled()) {
        const MetaDataRecord* record = MetaDataMessageRecord(lParam);
        Json event = {{"event", "metadata"}, {"bytes", record ? record->size : 0}};
        CUSharedPtr<CMBXAnalyzeSystemItemData> analysis =
            renderer ? renderer->GetAnalyzedData() : nullptr;
        if (analysis) {
            Json values = AnalysisJson(analysis.Get(), true);
            if (values["timecode"] == Json(lastTimecode)) {
                values.erase("timecode");
                values.erase("dropFrame");
                event.update(values);
            }
        }
        log.Write(event);
    }
    FreeMetaDataMessage(wParam, lParam);
    if (step) step->Advance(frame_time::FromFrames(static_cast<int64_t>(frames), rate));
}

void HostMessages::OnLevel(WPARAM wParam, LPARAM lParam) {
    ++levels;
    if (!log.Enabled()) return;
    // Four 16-bit levels in hundredths of a decibel: channels 0 and 1 in the first parameter,
    // 2 and 3 in the second; only as many as the sound has.
    const uint64_t words = (static_cast<uint64_t>(static_cast<uint32_t>(lParam)) << 32) |
                           static_cast<uint32_t>(wParam);
    Json list = Json::array();
    for (uint32_t c = 0; c < channels && c < 4; ++c)
        list.push_back(static_cast<int16_t>(static_cast<uint16_t>(words >> (16 * c))));
    log.Write({{"event", "level"}, {"levels", list}});
}

}  // namespace qvclip

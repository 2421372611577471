#include "tools/qvclip/MetaCommand.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "clipmodel/CMBXAnalyzeSystemItemData.h"
#include "foundation/CUNumber.h"
#include "foundation/CUVector.h"
#include "mxf/MXFLabels.h"
#include "tools/qvclip/ClipOutput.h"

namespace qvclip {

namespace {

const std::string kRecDateTimeKey = "Rec_DateTime";

std::string TimecodeText(const TimecodeInfo& timecode) {
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u:%02u", timecode.hours, timecode.minutes,
                  timecode.seconds, timecode.frames);
    return text;
}

// The creation stamp: a date, then the time of day as a timecode with its frames.
std::string DateTimeText(const TimecodeInfoEX& stamp) {
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %s", stamp.year, stamp.month, stamp.day,
                  TimecodeText(stamp).c_str());
    return text;
}

// The analyser's timecode stays zero when the item carries no user stamp; only a stamp that is
// there is a timecode.
bool HasUserStamp(std::span<const uint8_t> item) {
    namespace pack = mxf_system_item;
    return item.size() >= pack::PackSize && item[pack::UserStampType] == pack::StampTimecode;
}

Json MetadataValue(const CUSharedPtr<CUObject>& value) {
    if (!value) return nullptr;
    const CUObject* object = value.Get();
    if (auto* number = dynamic_cast<const CUNumber*>(object)) {
        // A single-precision value printed with its own shortest digits: 1.51, not 1.5099999.
        if (dynamic_cast<const CUNumberConcrete<float>*>(object)) {
            char digits[32];
            const auto end = std::to_chars(digits, digits + sizeof digits, number->FloatValue());
            return std::strtod(std::string(digits, end.ptr).c_str(), nullptr);
        }
        if (dynamic_cast<const CUNumberConcrete<double>*>(object)) return number->DoubleValue();
        return number->UInt64Value();
    }
    if (auto* vector = dynamic_cast<const CUVector<unsigned int>*>(object))
        return Json(static_cast<const std::vector<unsigned int>&>(*vector));
    const CUSharedPtr<CUStringWin> description = object->Description();
    return description ? description->UTF8String() : std::string();
}

std::string PlainText(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_array()) {
        std::string text;
        for (const auto& item : value) text += (text.empty() ? "" : ",") + item.dump();
        return "[" + text + "]";
    }
    return value.dump();
}

}  // namespace

void MetaCommand::Register(CLI::App& parent) {
    app = parent.add_subcommand("meta", "Show each frame's timecode, date and camera metadata");
    clip.Register(*app);
    range.Register(*app);
}

int MetaCommand::Run() {
    ClipSession session = clip.Open();
    const FrameSpan frames = range.Resolve(session);
    for (uint64_t frame = frames.first; frame < frames.end; ++frame) {
        const FrameElements& elements = session.Read(frame, ClipElementSystem);
        CUSharedPtr<CUMemoryStream> stream =
            CUCreate<CUMemoryStream>(elements.system.data(), elements.system.size());
        CUSharedPtr<CMBXAnalyzeSystemItemData> analyser =
            stream ? CUCreate<CMBXAnalyzeSystemItemData>(stream) : nullptr;
        if (!analyser) throw ClipError(session.Name() + ": out of memory");

        Json row = {{"frame", frame},
                    {"timecode", nullptr},
                    {"dropFrame", nullptr},
                    {"recDateTime", nullptr},
                    {"metadata", Json::object()}};
        // A frame whose system item says nothing keeps the nulls: the renderer delivers nothing
        // for it either.
        if (analyser->Analyze()) {
            if (analyser->timecode && HasUserStamp(elements.system)) {
                row["timecode"] = TimecodeText(*analyser->timecode);
                row["dropFrame"] = analyser->timecode->dropFrame != 0;
            }
            if (analyser->metadata)
                analyser->metadata->ForEach(
                    [&](const CUStringWin& key, const CUSharedPtr<CUObject>& value) {
                        const std::string name = key.UTF8String();
                        if (name == kRecDateTimeKey) {
                            const CUSharedPtr<TimecodeInfoEX> stamp(value);
                            if (stamp) row["recDateTime"] = DateTimeText(*stamp);
                            return;
                        }
                        row["metadata"][name] = MetadataValue(value);
                    });
        }
        if (clip.json) {
            PrintJsonLine(row);
            continue;
        }
        std::string line = "frame " + std::to_string(frame);
        line += "  " + (row["timecode"].is_null() ? std::string("--:--:--:--")
                                                  : row["timecode"].get<std::string>());
        if (row["dropFrame"].is_boolean() && row["dropFrame"].get<bool>()) line += " DF";
        if (row["recDateTime"].is_string()) line += "  " + row["recDateTime"].get<std::string>();
        for (const auto& [key, value] : row["metadata"].items())
            line += "  " + key + "=" + PlainText(value);
        std::printf("%s\n", line.c_str());
    }
    return 0;
}

}  // namespace qvclip

#include "tools/qvclip/MetadataJson.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "foundation/CUNumber.h"
#include "foundation/CUVector.h"
#include "mxf/MXFLabels.h"

namespace qvclip {

namespace {

const std::string kRecDateTimeKey = "Rec_DateTime";

// The creation stamp: a date, then the time of day as a timecode with its frames.
std::string DateTimeText(const TimecodeInfoEX& stamp) {
    char text[40];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %s", stamp.year, stamp.month, stamp.day,
                  TimecodeText(stamp).c_str());
    return text;
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

}  // namespace

std::string TimecodeText(const TimecodeInfo& timecode) {
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u:%02u", timecode.hours, timecode.minutes,
                  timecode.seconds, timecode.frames);
    return text;
}

// The analyser's timecode stays zero when the item carries no user stamp; only a stamp that is
// there is a timecode.
bool HasUserStamp(std::span<const uint8_t> item) {
    namespace pack = mxf_system_item;
    return item.size() >= pack::PackSize && item[pack::UserStampType] == pack::StampTimecode;
}

Json AnalysisJson(const CMBXAnalyzeSystemItemData* analysis, bool hasTimecode) {
    Json row = {{"timecode", nullptr},
                {"dropFrame", nullptr},
                {"recDateTime", nullptr},
                {"metadata", Json::object()}};
    if (!analysis) return row;
    if (analysis->timecode && hasTimecode) {
        row["timecode"] = TimecodeText(*analysis->timecode);
        row["dropFrame"] = analysis->timecode->dropFrame != 0;
    }
    if (analysis->metadata)
        analysis->metadata->ForEach([&](const CUStringWin& key, const CUSharedPtr<CUObject>& value) {
            const std::string name = key.UTF8String();
            if (name == kRecDateTimeKey) {
                const CUSharedPtr<TimecodeInfoEX> stamp(value);
                if (stamp) row["recDateTime"] = DateTimeText(*stamp);
                return;
            }
            row["metadata"][name] = MetadataValue(value);
        });
    return row;
}

}  // namespace qvclip

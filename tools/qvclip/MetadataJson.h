// The JSON form of a frame's system item analysis, shared by `qvclip meta` (which analyses each
// frame itself) and `qvclip play` (which takes the timecode renderer's analysis): the timecode and
// its drop-frame flag, the recording date and time, and the camera metadata by key, with nulls
// for what the item does not carry.
// Threads: pure functions.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "clipmodel/CMBXAnalyzeSystemItemData.h"
#include "tools/qvclip/ClipOutput.h"

namespace qvclip {

std::string TimecodeText(const TimecodeInfo& timecode);
// Whether the raw system item carries a user stamp (without one the analyser's timecode is 0).
bool HasUserStamp(std::span<const uint8_t> item);
// {"timecode", "dropFrame", "recDateTime", "metadata"}; all null/empty for a null analysis.
// `hasTimecode`: whether the analyser's timecode is the item's (see HasUserStamp).
Json AnalysisJson(const CMBXAnalyzeSystemItemData* analysis, bool hasTimecode);

}  // namespace qvclip

// CMBXAnalyzeSystemItemData: turns one frame's system item (the system metadata pack followed by
// its package metadata items) into a timecode, the recording date, and a dictionary of the
// camera's per-frame acquisition metadata under fixed key names ("Focus_Mode", "Zoom_FocalLen",
// "SPS_Offset", ...), with the camera's own raw units.
// One analyser serves one system item, on one thread; no lock. Nothing here reports an error: a
// damaged item gives what could be decoded, and Analyze answers false when nothing could.
#pragma once

#include "clipmodel/TimecodeInfo.h"
#include "foundation/CUDictionary.h"
#include "foundation/CUMemoryStream.h"

class CMBXAnalyzeSystemItemData : public CUObject {
public:
    explicit CMBXAnalyzeSystemItemData(CUSharedPtr<CUMemoryStream> stream);

    // True when a stamp or a recognised metadata item was decoded. Starts a new dictionary and
    // overwrites `timecode` on every call.
    bool Analyze();

    CUSharedPtr<CUMemoryStream> stream;
    CUSharedPtr<TimecodeInfoEX> timecode;       // the user stamp: the frame's timecode
    CUSharedPtr<CUMutableDictionary> metadata;  // "Rec_DateTime" holds a TimecodeInfoEX

private:
    bool ParseMetadataItem(const uint8_t* bytes, uint64_t size);
};

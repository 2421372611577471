// ClipFacts: the facts a wrapper caches about its clip when it loads, with their values before
// loading. The MXF wrapper and the CIF wrappers keep the same set; the codes are those of
// ICVCProp.h. Constant once loaded; guarded by the stream manager's lock like the wrapper.
#pragma once

#include <cstdint>

#include "clipmodel/ICVCProp.h"

struct ClipFacts {
    uint64_t frameCount = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t frameRateNumerator = 0;
    uint32_t frameRateDenominator = 0;
    uint32_t chromaFormat = ClipCodeUnknown;
    uint32_t bitDepthCode = ClipCodeUnknown;
    uint32_t colorGamut = ClipCodeUnknown;
    uint32_t gammaType = ClipCodeUnknown;
    uint32_t hlgColor = ClipCodeUnknown;
    uint32_t audioChannels = 0;
    uint32_t audioSampleRate = 0;
    uint32_t audioBitDepth = 0;
    uint8_t intraCoded = 0;
};

// FrameElementLayout: where ReadFrame put each element of a frame in the caller's buffer.
// Offsets count from the start of the buffer; a size of 0 means the element is not there.
#pragma once

#include <cstdint>

struct FrameElementLayout {
    static constexpr int kSoundElements = 4;

    uint64_t pictureOffset = 0;
    uint64_t pictureSize = 0;
    uint64_t soundOffset[kSoundElements] = {};
    uint64_t soundSize[kSoundElements] = {};
    uint64_t systemOffset = 0;
    uint64_t systemSize = 0;
    uint64_t ancillaryOffset = 0;
    uint64_t ancillarySize = 0;
    uint8_t indexFlags = 0;
};

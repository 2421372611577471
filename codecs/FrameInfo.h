// FrameInfo: the times of one input sample while it is inside the decoder, until a picture comes
// out to take them, and whether that picture is to be thrown away (a preroll sample's, or one
// found too late).
// Threads: guarded by whoever holds the list (the decode worker's frame list lock).
#pragma once

#include <cstdint>

#include "foundation/CUObject.h"

class FrameInfo : public CUObject {
public:
    FrameInfo(int64_t start, int64_t stop, bool discard)
        : m_rtStart(start), m_rtStop(stop), m_bDiscard(discard ? 1 : 0) {}

    int64_t m_rtStart;
    int64_t m_rtStop;
    uint8_t m_bDiscard;
};

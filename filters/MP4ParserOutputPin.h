// MP4ParserOutputPin: the base of the MP4 parser's pins. It adds the video track's GOP length,
// given by Load (1 until then, 0 when the clip has no MP4 wrapper): with a GOP length of 1 every
// frame is a key frame and a seek needs no preroll. The last frame of a clip never carries the
// preroll mark.
// Threads: m_nGopLength is written by Load before the graph runs and read under m_pShared.
#pragma once

#include "filters/ParserOutputPin.h"

class MP4ParserOutputPin : public CParserOutputPin {
public:
    using CParserOutputPin::CParserOutputPin;

    void SetGopLength(uint32_t length) {
        std::lock_guard<CURecursiveLock> guard(*m_pShared);
        m_nGopLength = length;
    }

protected:
    void UpdatePrerollStart(bool startChanged, int64_t f) override {
        if (m_nGopLength == 1) {
            m_nPrerollStart = 0;
        } else {
            CParserOutputPin::UpdatePrerollStart(startChanged, f);
        }
    }
    bool ClearsPrerollOnLastFrame() const override { return true; }

    uint32_t m_nGopLength = 1;
};

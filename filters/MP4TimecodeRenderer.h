// MP4TimecodeRenderer: the timecode renderer of MP4 clips. Its samples are the timecode element of
// each frame as the MP4 timecode pin sends it; the host decodes them itself. For a sample of 4
// bytes or more it posts
//   - m_uTimecodeMessage to m_hTimecodeWindow: wParam 0, lParam the first 4 bytes of the sample
//     read as a little-endian u32;
//   - then m_uMetaDataMessage to m_hMetaDataWindow with a copy of the whole sample, as
//     MetaDataMessage describes.
// A shorter sample gives no message. The renderer keeps no timecode (GetTimecode gives zeros) and
// no analysis (GetAnalyzedData gives an empty pointer).
// Scheduling, preroll, pause, threads and failures: as CTimecodeRendererBase.
#pragma once

#include "filters/TimecodeRenderer.h"

class MP4TimecodeInputPin : public CRendererInputPin {
public:
    MP4TimecodeInputPin(CBaseRenderer* renderer, HRESULT* phr)
        : CRendererInputPin(renderer, phr, L"Input") {}
};

class MP4TimecodeRenderer : public CTimecodeRendererBase {
public:
    MP4TimecodeRenderer(IUnknown* outer, HRESULT* phr, REFCLSID clsid);

    CUSharedPtr<CMBXAnalyzeSystemItemData> GetAnalyzedData() override { return {}; }

protected:
    void RenderTimecode(IMediaSample* pSample) override;
};

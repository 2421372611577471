#include "filters/MP4TimecodeRenderer.h"

#include <cstring>
#include <new>

#include "filters/FilterCreators.h"
#include "filters/FilterIds.h"

namespace {

// The packed timecode at the head of the sample.
constexpr int32_t kTimecodeBytes = 4;

}  // namespace

MP4TimecodeRenderer::MP4TimecodeRenderer(IUnknown* outer, HRESULT* phr, REFCLSID clsid)
    : CTimecodeRendererBase(clsid, "MP4TimecodeRenderer", outer, phr, MEDIATYPE_MP4Timecode) {
    AdoptInputPin(new (std::nothrow) MP4TimecodeInputPin(this, phr), phr);
}

void MP4TimecodeRenderer::RenderTimecode(IMediaSample* pSample) {
    uint8_t* data = nullptr;
    if (FAILED(pSample->GetPointer(&data)) || !data) return;
    const int32_t length = pSample->GetActualDataLength();
    if (length < kTimecodeBytes) return;
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the timecode is little-endian");
    uint32_t packed = 0;
    std::memcpy(&packed, data, sizeof packed);
    PostTimecode(0, static_cast<LPARAM>(packed));
    PostMetaData(data, static_cast<uint32_t>(length));
}

CUnknown* CreateMP4TimecodeRenderer(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) MP4TimecodeRenderer(outer, phr, CLSID_MP4TimecodeRenderer);
}

#include "filters/VideoFormat.h"

#include <cstring>

#include "filters/FilterIds.h"
#include "filters/FrameTime.h"

namespace video_format {

namespace {

// Writes little-endian fields into the zeroed block at fixed offsets, inside its bounds.
class BlockWriter {
public:
    explicit BlockWriter(uint8_t* block) : block(block) {}
    void U32(uint32_t offset, uint32_t value) { Put(offset, &value, sizeof value); }
    void I64(uint32_t offset, int64_t value) { Put(offset, &value, sizeof value); }
    void U16(uint32_t offset, uint16_t value) { Put(offset, &value, sizeof value); }
    void U8(uint32_t offset, uint8_t value) { Put(offset, &value, sizeof value); }

private:
    void Put(uint32_t offset, const void* value, uint32_t size) {
        static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the block is little-endian");
        if (offset <= kFormatBlockSize && size <= kFormatBlockSize - offset)
            std::memcpy(block + offset, value, size);
    }
    uint8_t* const block;
};

// The video information header's fields.
constexpr uint32_t kOffsetSourceRight = 8;
constexpr uint32_t kOffsetSourceBottom = 12;
constexpr uint32_t kOffsetAvgTimePerFrame = 40;
constexpr uint32_t kOffsetBitmapSize = 72;
constexpr uint32_t kOffsetBitmapWidth = 76;
constexpr uint32_t kOffsetBitmapHeight = 80;
constexpr uint32_t kOffsetBitmapPlanes = 84;
constexpr uint32_t kOffsetBitmapBitCount = 86;
constexpr uint32_t kOffsetBitmapCompression = 88;

constexpr uint32_t kChromaFormatRGB = 1;

}  // namespace

CodecKind CodecKindOfClipVersion(uint32_t clipVersion) {
    switch (clipVersion) {
        case ClipVersionFileList:
        case ClipVersionCIF2:
        case ClipVersionCIF3AVC:
            return CodecH264;
        case ClipVersionCIF1:
            return CodecMPEG2;
        default:
            return CodecHEVC;
    }
}

const GUID& MXFSubtype(CodecKind kind) {
    switch (kind) {
        case CodecH264:
            return MEDIASUBTYPE_H264;
        case CodecMPEG2:
            return MEDIASUBTYPE_MPEG2_VIDEO;
        default:
            return MEDIASUBTYPE_HEVC;
    }
}

uint32_t Scaled(uint32_t size, uint32_t scale) {
    return scale <= 2 ? size >> scale : 0;
}

HRESULT Build(StreamManager& clip, const Request& request, CMediaType* type) {
    type->InitMediaType();
    type->SetType(&MEDIATYPE_Video);
    type->SetSampleSize(1);
    if (request.formatType != GUID_NULL) {
        type->SetSubtype(&request.subtype);
        type->SetFormatType(&request.formatType);
    }
    uint8_t* block = type->AllocFormatBuffer(kFormatBlockSize);
    if (!block) return E_OUTOFMEMORY;

    const uint32_t width = clip.GetWidth(), height = clip.GetHeight();
    const uint32_t scaledWidth = Scaled(width, request.scale);
    const uint32_t scaledHeight = Scaled(height, request.scale);
    frame_time::Rate rate{0, 0};
    clip.GetFrameRate(rate);
    const bool rgb = !request.mp4 && clip.GetChromaFormat() == kChromaFormatRGB;

    BlockWriter out(block);
    out.U32(kOffsetSourceRight, scaledWidth);
    out.U32(kOffsetSourceBottom, scaledHeight);
    out.I64(kOffsetAvgTimePerFrame, frame_time::FrameDuration(rate));
    out.U32(kOffsetBitmapSize, 0);
    out.U32(kOffsetBitmapWidth, scaledWidth);
    out.U32(kOffsetBitmapHeight, scaledHeight);
    out.U16(kOffsetBitmapPlanes, 1);
    out.U16(kOffsetBitmapBitCount, 32);
    out.U32(kOffsetBitmapCompression,
            rgb ? MakeFourCC('B', 'G', 'R', '4') : MakeFourCC('Y', 'U', 'Y', '2'));
    out.U32(kOffsetGamma, clip.GetGammaType());
    out.U32(kOffsetGamut, clip.GetColorGamut());
    out.U32(kOffsetHLGColor, clip.GetHLGColor());
    out.U32(kOffsetCodecKind, request.kind);
    out.U32(kOffsetPictureScale, request.scale);
    out.U32(kOffsetFullWidth, width);
    out.U32(kOffsetFullHeight, height);
    out.U32(kOffsetLook, clip.GetLookType());
    out.U8(kOffsetMP4Flag, request.mp4 ? 1 : 0);
    out.U8(kOffsetLongGOPFlag, clip.IsIntraCoded() ? 0 : 1);
    return S_OK;
}

}  // namespace video_format

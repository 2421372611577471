#include "filters/VideoFormat.h"

#include <cstring>

#include "filters/FilterIds.h"
#include "filters/FrameTime.h"

namespace video_format {

namespace {

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

    Block out(block, kFormatBlockSize);
    out.SetU32(kOffsetSourceRight, scaledWidth);
    out.SetU32(kOffsetSourceBottom, scaledHeight);
    out.SetI64(kOffsetAvgTimePerFrame, frame_time::FrameDuration(rate));
    out.SetU32(kOffsetBitmapSize, 0);
    out.SetU32(kOffsetBitmapWidth, scaledWidth);
    out.SetU32(kOffsetBitmapHeight, scaledHeight);
    out.SetU16(kOffsetBitmapPlanes, 1);
    out.SetU16(kOffsetBitmapBitCount, 32);
    out.SetU32(kOffsetBitmapCompression,
               rgb ? MakeFourCC('B', 'G', 'R', '4') : MakeFourCC('Y', 'U', 'Y', '2'));
    out.SetU32(kOffsetGamma, clip.GetGammaType());
    out.SetU32(kOffsetGamut, clip.GetColorGamut());
    out.SetU32(kOffsetHLGColor, clip.GetHLGColor());
    out.SetU32(kOffsetCodecKind, request.kind);
    out.SetU32(kOffsetPictureScale, request.scale);
    out.SetU32(kOffsetFullWidth, width);
    out.SetU32(kOffsetFullHeight, height);
    out.SetU32(kOffsetLook, clip.GetLookType());
    out.SetU8(kOffsetMP4Flag, request.mp4 ? 1 : 0);
    out.SetU8(kOffsetLongGOPFlag, clip.IsIntraCoded() ? 0 : 1);
    return S_OK;
}

void ReadPicture(const CMediaType& type, DecoderConfig* config) {
    if (!type.Format() || !config) return;
    const Block in(type);
    config->pixelFormat = in.U32(kOffsetBitmapCompression);
    config->width = in.U32(kOffsetBitmapWidth);
    config->height = in.U32(kOffsetBitmapHeight);
}

void ReadTail(const CMediaType& type, DecoderConfig* config) {
    if (!type.Format() || !config) return;
    const Block in(type);
    config->pictureScale = in.U32(kOffsetPictureScale);
    config->fullWidth = in.U32(kOffsetFullWidth);
    config->fullHeight = in.U32(kOffsetFullHeight);
}

void WritePicture(Block& out, uint32_t width, uint32_t height, int64_t frameTime, uint16_t bitCount,
                  uint32_t compression) {
    out.SetU32(kOffsetSourceRight, width);
    out.SetU32(kOffsetSourceBottom, height);
    out.SetU32(kOffsetTargetRight, width);
    out.SetU32(kOffsetTargetBottom, height);
    out.SetI64(kOffsetAvgTimePerFrame, frameTime);
    out.SetU32(kOffsetBitmapSize, kBitmapHeaderSize);
    out.SetU32(kOffsetBitmapWidth, width);
    out.SetU32(kOffsetBitmapHeight, height);
    out.SetU16(kOffsetBitmapPlanes, 1);
    out.SetU16(kOffsetBitmapBitCount, bitCount);
    out.SetU32(kOffsetBitmapCompression, compression);
}

}  // namespace video_format

// The media type that a parser's video pin offers: major type video, the subtype of the picture
// coding, and a 152-byte format block, a video information header of 112 bytes followed by a
// private tail of 40. The block is the contract with the decode, convert and resize filters.
//
// Offsets (little-endian): 0 source rectangle (0, 0, scaled width, scaled height); 40 the time of
// one frame; 76 and 80 the scaled width and height; 84 planes 1; 86 bits 32; 88 compression
// ("YUY2", or "BGR4" for an MXF clip of RGB pictures); 112 gamma; 116 colour gamut; 120 HLG colour;
// 124 codec kind; 128 picture scale; 132 and 136 the full width and height; 140 look; 144 the MP4
// flag; 145 the long-GOP flag. Everything else is zero.
// Threads: pure functions over a StreamManager, which locks itself.
#pragma once

#include <cstdint>

#include "clipmodel/StreamManager.h"
#include "platform/MediaType.h"

namespace video_format {

inline constexpr uint32_t kFormatBlockSize = 152;
inline constexpr uint32_t kHeaderSize = 112;

// Offsets of the private tail.
inline constexpr uint32_t kOffsetGamma = 112;
inline constexpr uint32_t kOffsetGamut = 116;
inline constexpr uint32_t kOffsetHLGColor = 120;
inline constexpr uint32_t kOffsetCodecKind = 124;
inline constexpr uint32_t kOffsetPictureScale = 128;
inline constexpr uint32_t kOffsetFullWidth = 132;
inline constexpr uint32_t kOffsetFullHeight = 136;
inline constexpr uint32_t kOffsetLook = 140;
inline constexpr uint32_t kOffsetMP4Flag = 144;
inline constexpr uint32_t kOffsetLongGOPFlag = 145;

enum CodecKind : uint32_t { CodecH264 = 0, CodecHEVC = 1, CodecMPEG2 = 2 };

// The codec kind of an MXF-family clip, from the kind of clip that was opened.
CodecKind CodecKindOfClipVersion(uint32_t clipVersion);
// The subtype that names a codec kind on the MXF side.
const GUID& MXFSubtype(CodecKind kind);

// The picture size at a scale: 0 full, 1 half, 2 quarter; any other scale gives 0 x 0.
uint32_t Scaled(uint32_t size, uint32_t scale);

struct Request {
    CodecKind kind = CodecH264;
    GUID subtype{};
    GUID formatType{};  // GUID_NULL: subtype and format type stay unset (an MP4 clip of another
                        // container type)
    uint32_t scale = 0;
    bool mp4 = false;
};

// Fills `type` from the clip. E_OUTOFMEMORY when the block cannot be had.
HRESULT Build(StreamManager& clip, const Request& request, CMediaType* type);

}  // namespace video_format

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
#include <cstring>

#include "clipmodel/StreamManager.h"
#include "codecs/IMBXMovieDecoder.h"
#include "platform/MediaType.h"

namespace video_format {

inline constexpr uint32_t kFormatBlockSize = 152;
inline constexpr uint32_t kHeaderSize = 112;

// Offsets of the video information header.
inline constexpr uint32_t kOffsetSourceRight = 8;
inline constexpr uint32_t kOffsetSourceBottom = 12;
inline constexpr uint32_t kOffsetTargetRight = 24;
inline constexpr uint32_t kOffsetTargetBottom = 28;
inline constexpr uint32_t kOffsetAvgTimePerFrame = 40;
inline constexpr uint32_t kOffsetBitmapSize = 72;
inline constexpr uint32_t kBitmapHeaderSize = 40;  // what kOffsetBitmapSize holds
inline constexpr uint32_t kOffsetBitmapWidth = 76;
inline constexpr uint32_t kOffsetBitmapHeight = 80;
inline constexpr uint32_t kOffsetBitmapPlanes = 84;
inline constexpr uint32_t kOffsetBitmapBitCount = 86;
inline constexpr uint32_t kOffsetBitmapCompression = 88;
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

// What the decode and resize filters keep of their input's format: the layout code ("YUY2" or
// "BGR4"), width and height (ReadPicture), and the tail's picture scale, full width and full
// height (ReadTail). A type without a format block changes nothing.
void ReadPicture(const CMediaType& type, DecoderConfig* config);
void ReadTail(const CMediaType& type, DecoderConfig* config);

class Block;
// The picture part of an offered block: source and target rectangles of `width` x `height`, the
// frame time, and the 40-byte bitmap header with one plane, `bitCount` and `compression`.
void WritePicture(Block& out, uint32_t width, uint32_t height, int64_t frameTime, uint16_t bitCount,
                  uint32_t compression);

// Little-endian fields of a format block, inside its bounds: a read past the end gives 0, a
// write past the end does nothing.
class Block {
public:
    Block(uint8_t* bytes, uint32_t size) : bytes(bytes), size(size) {}
    explicit Block(const CMediaType& type) : bytes(type.Format()), size(type.FormatLength()) {}

    uint32_t U32(uint32_t offset) const { return Get<uint32_t>(offset); }
    uint16_t U16(uint32_t offset) const { return Get<uint16_t>(offset); }
    uint8_t U8(uint32_t offset) const { return Get<uint8_t>(offset); }
    int64_t I64(uint32_t offset) const { return Get<int64_t>(offset); }
    void SetU32(uint32_t offset, uint32_t value) { Set(offset, value); }
    void SetU16(uint32_t offset, uint16_t value) { Set(offset, value); }
    void SetU8(uint32_t offset, uint8_t value) { Set(offset, value); }
    void SetI64(uint32_t offset, int64_t value) { Set(offset, value); }

private:
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "format blocks are little-endian");
    template <class T>
    T Get(uint32_t offset) const {
        T value{};
        if (bytes && offset <= size && sizeof(T) <= size - offset)
            std::memcpy(&value, bytes + offset, sizeof(T));
        return value;
    }
    template <class T>
    void Set(uint32_t offset, T value) {
        if (bytes && offset <= size && sizeof(T) <= size - offset)
            std::memcpy(bytes + offset, &value, sizeof(T));
    }
    uint8_t* bytes;
    uint32_t size;
};

}  // namespace video_format

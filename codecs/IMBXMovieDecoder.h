// IMBXMovieDecoder, DecoderConfig and FrameInfo: where the movie decode filter meets a decoder.
//
// DecoderConfig is the 32-byte record the decode filter owns and the decoder reads at each
// Initialize: the output pixel format ("YUY2": 8-bit 4:2:2 packed Y0 U Y1 V; "BGR4": 8-bit
// B G R X), the output size (the picture at its scale), the decoder kind, the picture scale and
// the full size, and two flags. An output picture is rows of `width` pixels, top row first, with
// no padding between rows.
//
// Calling order: Uninitialize then Initialize at each new segment (Uninitialize also before the
// first Initialize, where it must answer true); Decode for each input sample, repeated on the rest
// of the sample while it consumes only part of it; Decode with empty input to get out a picture
// the decoder still holds; GetPictureFlags after a picture was written.
// Threads: one decoder is used by one thread at a time (the decode filter's worker).
// Ownership: shared through CUSharedPtr (CUObject is a virtual base).
#pragma once

#include <cstdint>

#include "foundation/CUObject.h"

// DecoderConfig's pixel formats, as four-character codes with the first letter in the low byte.
inline constexpr uint32_t kPixelFormatYUY2 = 0x32595559;  // "YUY2"
inline constexpr uint32_t kPixelFormatBGR4 = 0x34524742;  // "BGR4"

enum DecoderKind : uint32_t { DecoderKindH264 = 0, DecoderKindHEVC = 1, DecoderKindMPEG2 = 2 };

struct DecoderConfig {
    uint32_t pixelFormat = 0;   // kPixelFormatYUY2 or kPixelFormatBGR4
    uint32_t width = 0;         // of the output picture
    uint32_t height = 0;
    uint32_t decoderKind = 0;   // DecoderKind
    uint32_t pictureScale = 0;  // 0 full, 1 half, 2 quarter
    uint32_t fullWidth = 0;     // of the coded picture
    uint32_t fullHeight = 0;
    uint8_t heavyStream = 0;    // more than 50 frames a second above 2K, on a large machine
    uint8_t longGOP = 0;        // the stream has frames that are not intra-coded
    uint16_t unused = 0;
};
static_assert(sizeof(DecoderConfig) == 32, "DecoderConfig is a 32-byte record");

class IMBXMovieDecoder : public virtual CUObject {
public:
    // Prepares for a new segment with `config`; false: the segment is not passed on.
    virtual bool Initialize(const DecoderConfig* config) = 0;
    // Takes up to `inputSize` bytes of `input` (empty input: give out a held picture) and may
    // write one whole picture to `output`. `consumed`: input bytes taken; `written`: output bytes;
    // `frameReady`: a picture was written.
    virtual void Decode(const uint8_t* input, int32_t inputSize, uint8_t* output,
                        uint32_t outputSize, uint32_t* written, uint8_t* frameReady,
                        uint32_t* consumed) = 0;
    // Flags of the picture just written; non-zero for a full-range picture.
    virtual uint8_t GetPictureFlags() = 0;
    // Ends the current segment; true also when there was none.
    virtual bool Uninitialize() = 0;
};

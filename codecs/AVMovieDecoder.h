// AVMovieDecoder: the movie decoder over libavcodec that CMBXH264Decoder, CMBXHevcDecoder and
// CMBXMpeg2Decoder are, each for its own codec. One segment is one open codec context working on
// every core (frame threads for H.264 and HEVC, slice threads for MPEG-2, which has no frame
// threads); pictures come out in display order, converted to the output format.
//
// Decode, non-empty input (one compressed picture, decode order): the input is handed to the
// codec and at most one picture is written. `consumed` is the whole input when the codec took it,
// and also when it refused it as damaged (the sample is dropped, no picture for it). When the codec
// cannot take input before a picture is taken out, one is taken out and the input offered once
// more; only if the codec still refuses is `consumed` 0, with the picture taken out written.
// Pictures taken out but not yet written wait in a short queue, so that none is lost.
// Decode, empty input (inputSize <= 0 or input null): the first such call ends the stream in the
// codec; each call then writes one picture still held, until none is left (frameReady 0, written 0,
// consumed 0, as often as asked). Non-empty input after that starts afresh: the codec is flushed
// and pictures not yet written are dropped.
//
// Output: `width` x `height` pixels of the configured format, top row first, rows without padding.
// "YUY2": 8-bit 4:2:2 packed Y0 U Y1 V from any 4:2:0 or 4:2:2 source of 8 to 12 bits, converted
// by libswscale exactly as ffmpeg's own command line converts to yuyv422 (bicubic, default
// dithering) for limited-range sources; a full-range source stays full range, which
// GetPictureFlags reports. "BGR4": bytes
// B G R 0xFF, from the picture's own matrix (BT.709 when unsignalled above 576 rows, BT.601 at
// and below) and range to full-range RGB, with chroma interpolated to every pixel.
// Picture scale s (factor f = 1, 2 or 4): the full-size output picture, sampled nearest-neighbour.
// Output row y is full row f*y; output pixel x takes the luma (or B G R X) of full pixel f*x, and
// in YUY2 the chroma of the full macro-pixel holding pixel f*(x - x%2), so each output macro-pixel
// is {Y of full pixel 2fm, U of full macro-pixel fm, Y of full pixel 2fm+f, V of full macro-pixel
// fm}. Coordinates past the decoded picture take its last row or column; a decoded picture larger
// than f*width x f*height is cut to it. A picture that does not fit `outputSize` is not written
// (frameReady 0). The configured decoder kind is the class's own and is not read.
//
// Threads: one thread at a time (IMBXMovieDecoder's rule); libavcodec's own threads stay inside.
// Failures: Initialize answers false for an unusable configuration or a codec that cannot be
// opened; Decode before a successful Initialize takes nothing and writes nothing.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "codecs/IMBXMovieDecoder.h"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct SwsContext;

class AVMovieDecoder : public IMBXMovieDecoder {
public:
    ~AVMovieDecoder() override;
    AVMovieDecoder(const AVMovieDecoder&) = delete;
    AVMovieDecoder& operator=(const AVMovieDecoder&) = delete;

    bool Initialize(const DecoderConfig* config) override;
    void Decode(const uint8_t* input, int32_t inputSize, uint8_t* output, uint32_t outputSize,
                uint32_t* written, uint8_t* frameReady, uint32_t* consumed) override;
    uint8_t GetPictureFlags() override;
    bool Uninitialize() override;

protected:
    // `codecId`: libavcodec's AVCodecID of the decoder to open.
    explicit AVMovieDecoder(int codecId);

private:
    struct FrameFree {
        void operator()(AVFrame* frame) const;
    };
    using FramePtr = std::unique_ptr<AVFrame, FrameFree>;

    // Sends `packet` (null: end of stream), taking one picture out when the codec asks for that
    // first; libavcodec's answer to the last send.
    int Send(AVPacket* packet);
    // Takes one picture out of the codec into m_held; false when there was none.
    bool TakeOut();
    // Converts `frame` into `output`; false when it cannot be written there.
    bool Write(const AVFrame& frame, uint8_t* output, uint32_t outputSize, uint32_t* written);
    // m_sws set up for `frame` converted to its own size in the output format.
    bool PrepareConverter(const AVFrame& frame, bool fullRange);
    void FreeConverter();

    const int m_codecId;
    DecoderConfig m_config{};
    AVCodecContext* m_context = nullptr;
    AVPacket* m_packet = nullptr;
    std::deque<FramePtr> m_held;
    bool m_draining = false;  // the end of stream was sent
    uint8_t m_pictureFlags = 0;

    // The converter, for pictures of this size and format, and the full-size output picture.
    SwsContext* m_sws = nullptr;
    int m_swsWidth = 0, m_swsHeight = 0, m_swsFormat = -1, m_swsColorspace = -1;
    bool m_swsFullRange = false;
    std::vector<uint8_t> m_full;
    size_t m_fullStride = 0;
};

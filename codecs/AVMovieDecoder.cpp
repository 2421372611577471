#include "codecs/AVMovieDecoder.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include "foundation/CULog.h"

namespace {

// libavcodec's messages (a damaged picture is reported, then passed over) go to the module's log,
// never to the host's standard error.
void ForwardLibraryMessage(void*, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_WARNING) return;
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    const size_t length = std::strlen(text);
    if (length && text[length - 1] == '\n') text[length - 1] = 0;
    Log(level <= AV_LOG_ERROR ? CULogLevelError : CULogLevelInfo, "decoder: %hs", text);
}

void RouteLibraryMessages() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(ForwardLibraryMessage); });
}

// The largest picture side taken, in the configuration and from the codec.
constexpr uint32_t kMaxSide = 8192;
// Bytes of slack behind the converted picture: libswscale's vector code may store a little past
// the end of a row.
constexpr size_t kConverterSlack = 256;
// Rows and buffers at this alignment take libswscale's vector code, as ffmpeg's own buffers do.
constexpr size_t kRowAlignment = 16;
// Errors of damaged pictures passed over in one attempt to take a picture out.
constexpr int kMaxReceiveErrors = 64;

// The full-range formats' plain equivalents; libswscale is told the range on its own.
AVPixelFormat PlainFormat(int format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        case AV_PIX_FMT_YUVJ411P:
            return AV_PIX_FMT_YUV411P;
        default:
            return static_cast<AVPixelFormat>(format);
    }
}

// libswscale's matrix for a picture's signalled one, and for an unsignalled one by its height.
int MatrixFor(int colorspace, int height) {
    switch (colorspace) {
        case AVCOL_SPC_BT709:
            return SWS_CS_ITU709;
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
            return SWS_CS_ITU601;
        case AVCOL_SPC_FCC:
            return SWS_CS_FCC;
        case AVCOL_SPC_SMPTE240M:
            return SWS_CS_SMPTE240M;
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return SWS_CS_BT2020;
        default:
            return height > 576 ? SWS_CS_ITU709 : SWS_CS_ITU601;
    }
}

}  // namespace

void AVMovieDecoder::FrameFree::operator()(AVFrame* frame) const {
    av_frame_free(&frame);
}

AVMovieDecoder::AVMovieDecoder(int codecId) : m_codecId(codecId) {}

AVMovieDecoder::~AVMovieDecoder() {
    Uninitialize();
}

bool AVMovieDecoder::Uninitialize() {
    m_held.clear();
    avcodec_free_context(&m_context);
    av_packet_free(&m_packet);
    FreeConverter();
    m_full.clear();
    m_full.shrink_to_fit();
    m_draining = false;
    m_pictureFlags = 0;
    return true;
}

bool AVMovieDecoder::Initialize(const DecoderConfig* config) {
    RouteLibraryMessages();
    Uninitialize();
    if (!config ||
        (config->pixelFormat != kPixelFormatYUY2 && config->pixelFormat != kPixelFormatBGR4))
        return false;
    if (config->width == 0 || config->height == 0 || config->width > kMaxSide ||
        config->height > kMaxSide || config->pictureScale > 2)
        return false;
    const AVCodec* codec = avcodec_find_decoder(static_cast<AVCodecID>(m_codecId));
    if (!codec) return false;
    m_context = avcodec_alloc_context3(codec);
    m_packet = av_packet_alloc();
    if (!m_context || !m_packet) {
        Uninitialize();
        return false;
    }
    // Every core: frame threads where the codec has them (H.264, HEVC), slice threads where it
    // has only those (MPEG-2). Either way the pictures are the single-threaded ones.
    m_context->thread_count = 0;
    m_context->thread_type = FF_THREAD_FRAME | FF_THREAD_SLICE;
    if (avcodec_open2(m_context, codec, nullptr) < 0) {
        Uninitialize();
        return false;
    }
    m_config = *config;
    return true;
}

uint8_t AVMovieDecoder::GetPictureFlags() {
    return m_pictureFlags;
}

bool AVMovieDecoder::TakeOut() {
    FramePtr frame(av_frame_alloc());
    if (!frame) return false;
    // An error here is a damaged picture's, already taken; the next answer may be a picture, and
    // while draining the caller stops at the first call without one.
    for (int attempt = 0; attempt < kMaxReceiveErrors; ++attempt) {
        const int answer = avcodec_receive_frame(m_context, frame.get());
        if (answer >= 0) {
            m_held.push_back(std::move(frame));
            return true;
        }
        if (answer == AVERROR(EAGAIN) || answer == AVERROR_EOF) return false;
    }
    return false;
}

int AVMovieDecoder::Send(AVPacket* packet) {
    int answer = avcodec_send_packet(m_context, packet);
    if (answer == AVERROR(EAGAIN) && TakeOut()) answer = avcodec_send_packet(m_context, packet);
    return answer;
}

void AVMovieDecoder::Decode(const uint8_t* input, int32_t inputSize, uint8_t* output,
                            uint32_t outputSize, uint32_t* written, uint8_t* frameReady,
                            uint32_t* consumed) {
    if (!written || !frameReady || !consumed) return;
    *written = 0;
    *frameReady = 0;
    *consumed = 0;
    if (!m_context) return;

    if (input && inputSize > 0) {
        if (m_draining) {
            avcodec_flush_buffers(m_context);
            m_held.clear();
            m_draining = false;
        }
        // Not reference-counted: libavcodec copies the bytes, with its padding, before use.
        m_packet->data = const_cast<uint8_t*>(input);
        m_packet->size = inputSize;
        const int answer = Send(m_packet);
        m_packet->data = nullptr;
        m_packet->size = 0;
        // Taken, or refused for good (damaged data): either way the caller is done with it.
        if (answer != AVERROR(EAGAIN)) *consumed = static_cast<uint32_t>(inputSize);
    } else if (!m_draining) {
        m_draining = Send(nullptr) != AVERROR(EAGAIN);
    }

    if (m_held.empty()) TakeOut();
    if (m_held.empty()) return;
    const FramePtr frame = std::move(m_held.front());
    m_held.pop_front();
    if (Write(*frame, output, outputSize, written)) *frameReady = 1;
}

void AVMovieDecoder::FreeConverter() {
    sws_freeContext(m_sws);
    m_sws = nullptr;
    m_swsWidth = m_swsHeight = 0;
    m_swsFormat = m_swsColorspace = -1;
    m_swsFullRange = false;
}

bool AVMovieDecoder::PrepareConverter(const AVFrame& frame, bool fullRange) {
    const bool yuy2 = m_config.pixelFormat == kPixelFormatYUY2;
    const int colorspace = yuy2 ? -1 : MatrixFor(frame.colorspace, frame.height);
    if (m_sws && m_swsWidth == frame.width && m_swsHeight == frame.height &&
        m_swsFormat == frame.format && m_swsColorspace == colorspace && m_swsFullRange == fullRange)
        return true;
    FreeConverter();
    const AVPixelFormat source = PlainFormat(frame.format);
    if (yuy2) {
        // ffmpeg's command line converts with the bicubic scaler and libswscale's defaults
        // otherwise; the same settings give the same bytes.
        m_sws = sws_getContext(frame.width, frame.height, source, frame.width, frame.height,
                               AV_PIX_FMT_YUYV422, SWS_BICUBIC, nullptr, nullptr, nullptr);
        if (!m_sws) return false;
        if (fullRange) {
            // Keep the range: the picture flags tell the caller.
            const int* table = sws_getCoefficients(SWS_CS_DEFAULT);
            if (sws_setColorspaceDetails(m_sws, table, 1, table, 1, 0, 1 << 16, 1 << 16) < 0) {
                FreeConverter();
                return false;
            }
        }
    } else {
        m_sws = sws_getContext(frame.width, frame.height, source, frame.width, frame.height,
                               AV_PIX_FMT_BGRA, SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT,
                               nullptr, nullptr, nullptr);
        if (!m_sws) return false;
        const int* table = sws_getCoefficients(colorspace);
        if (sws_setColorspaceDetails(m_sws, table, fullRange ? 1 : 0, table, 1, 0, 1 << 16,
                                     1 << 16) < 0) {
            FreeConverter();
            return false;
        }
    }
    m_swsWidth = frame.width;
    m_swsHeight = frame.height;
    m_swsFormat = frame.format;
    m_swsColorspace = colorspace;
    m_swsFullRange = fullRange;
    return true;
}

bool AVMovieDecoder::Write(const AVFrame& frame, uint8_t* output, uint32_t outputSize,
                           uint32_t* written) {
    const bool yuy2 = m_config.pixelFormat == kPixelFormatYUY2;
    const size_t pixelBytes = yuy2 ? 2 : 4;
    // The decoder gives the whole picture at every scale: reducing it for display is the resize
    // filter's work, which takes the full size from the format's tail as this does.
    const bool reduced = m_config.pictureScale != 0 && m_config.fullWidth && m_config.fullHeight;
    const size_t width = reduced ? m_config.fullWidth : m_config.width;
    const size_t height = reduced ? m_config.fullHeight : m_config.height;
    const size_t size = width * height * pixelBytes;
    if (!output || size > outputSize) return false;
    if (frame.width <= 0 || frame.height <= 0 || frame.width > static_cast<int>(kMaxSide) ||
        frame.height > static_cast<int>(kMaxSide))
        return false;
    const AVPixFmtDescriptor* format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (!format || (format->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_PAL))) return false;

    const bool fullRange =
        frame.color_range == AVCOL_RANGE_JPEG || PlainFormat(frame.format) != frame.format;
    if (!PrepareConverter(frame, fullRange)) return false;

    const size_t fullWidth = static_cast<size_t>(frame.width);
    const size_t fullHeight = static_cast<size_t>(frame.height);
    const size_t rowBytes = width * pixelBytes;

    // A full-size picture with aligned rows goes straight into the output: the output buffers are
    // far larger than a picture, so libswscale's slack behind the last row is there too.
    const bool direct = width == fullWidth &&
                        height == fullHeight && rowBytes % kRowAlignment == 0 &&
                        reinterpret_cast<uintptr_t>(output) % kRowAlignment == 0 &&
                        outputSize - size >= kConverterSlack;
    if (direct) {
        uint8_t* planes[4] = {output, nullptr, nullptr, nullptr};
        const int strides[4] = {static_cast<int>(rowBytes), 0, 0, 0};
        if (sws_scale(m_sws, frame.data, frame.linesize, 0, frame.height, planes, strides) !=
            frame.height)
            return false;
        if (!yuy2)
            for (size_t i = 3; i < size; i += 4) output[i] = 0xFF;
        *written = static_cast<uint32_t>(size);
        m_pictureFlags = fullRange ? 1 : 0;
        return true;
    }

    // Otherwise the full-size picture in the output format first, rows aligned for libswscale,
    // then copied into the output.
    m_fullStride = (fullWidth * pixelBytes + 63) & ~size_t{63};
    m_full.resize(m_fullStride * fullHeight + kConverterSlack);
    uint8_t* planes[4] = {m_full.data(), nullptr, nullptr, nullptr};
    const int strides[4] = {static_cast<int>(m_fullStride), 0, 0, 0};
    if (sws_scale(m_sws, frame.data, frame.linesize, 0, frame.height, planes, strides) !=
        frame.height)
        return false;

    // A picture whose stated size differs from the decoded one is cut, or padded with its last
    // row and column.
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* from = m_full.data() + std::min(y, fullHeight - 1) * m_fullStride;
        uint8_t* to = output + y * rowBytes;
        if (width <= fullWidth) {
            std::memcpy(to, from, rowBytes);
        } else if (yuy2) {
            for (size_t x = 0; x < width; ++x) {
                const size_t luma = std::min(x, fullWidth - 1);
                const size_t pair = std::min(x - x % 2, fullWidth - 1) / 2;
                to[2 * x] = from[2 * luma];
                to[2 * x + 1] = from[4 * pair + (x % 2 ? 3 : 1)];
            }
        } else {
            for (size_t x = 0; x < width; ++x)
                std::memcpy(to + 4 * x, from + 4 * std::min(x, fullWidth - 1), 4);
        }
        if (!yuy2)
            for (size_t x = 0; x < width; ++x) to[4 * x + 3] = 0xFF;
    }
    *written = static_cast<uint32_t>(size);
    m_pictureFlags = fullRange ? 1 : 0;
    return true;
}

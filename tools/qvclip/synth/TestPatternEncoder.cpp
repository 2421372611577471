#include "tools/qvclip/synth/TestPatternEncoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "tools/qvclip/synth/TestPattern.h"

namespace synth {

namespace {

struct ContextFree {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct FrameFree {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct PacketFree {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};

[[noreturn]] void Fail(const std::string& what, int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    throw std::runtime_error(what + ": " + text);
}

AVPixelFormat PixelFormat(const SynthOptions& o) {
    const bool c420 = o.chroma == 420;
    switch (o.bitDepth) {
        case 10:
            return c420 ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV422P10LE;
        case 12:
            return c420 ? AV_PIX_FMT_YUV420P12LE : AV_PIX_FMT_YUV422P12LE;
        default:
            return c420 ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV422P;
    }
}

// Colour facts of the stream that agree with the labels of the descriptor, where there are any.
void SetColour(AVCodecContext* c, const SynthOptions& o) {
    c->color_range = AVCOL_RANGE_MPEG;
    c->color_primaries = o.gamutCode == 0   ? AVCOL_PRI_BT709
                         : o.gamutCode == 3 ? AVCOL_PRI_BT2020
                                            : AVCOL_PRI_UNSPECIFIED;
    c->colorspace = o.gamutCode == 3 ? AVCOL_SPC_BT2020_NCL : AVCOL_SPC_BT709;
    c->color_trc = o.gammaCode == 1    ? AVCOL_TRC_BT709
                   : o.gammaCode == 14 ? AVCOL_TRC_SMPTE2084
                   : o.gammaCode == 15 ? AVCOL_TRC_ARIB_STD_B67
                                       : AVCOL_TRC_UNSPECIFIED;
}

// With grain, the bitrate a camera gives such a picture: 50 Mbit/s for 1080p at 25 frames a
// second, in proportion to the picture's area and the rate (so 200 Mbit/s for 2160p25).
int64_t GrainBitrate(const SynthOptions& o) {
    const double area = double(o.width) * o.height / (1920.0 * 1080.0);
    const double rate = double(o.rateNumerator) / o.rateDenominator / 25.0;
    return std::max<int64_t>(1'000'000, static_cast<int64_t>(50e6 * area * rate));
}

}  // namespace

// libx265 keeps some allocations of every encoder it opens until the process ends; they are
// its own, and the leak check of sanitizer builds is told to pass over them.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libx265.so\n";
}

struct TestPatternEncoder::Codec {
    std::unique_ptr<AVCodecContext, ContextFree> context;
    std::unique_ptr<AVFrame, FrameFree> frame;
    std::unique_ptr<AVPacket, PacketFree> packet;
};

TestPatternEncoder::TestPatternEncoder(const ClipPlan& plan) : plan(plan), codec(new Codec) {
    av_log_set_level(AV_LOG_ERROR);
    const SynthOptions& o = plan.options;
    const char* name = o.codec == SynthCodec::H264   ? "libx264"
                       : o.codec == SynthCodec::HEVC ? "libx265"
                                                     : "mpeg2video";
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    if (!encoder) throw std::runtime_error(std::string("no encoder ") + name + " in libavcodec");
    codec->context.reset(avcodec_alloc_context3(encoder));
    codec->frame.reset(av_frame_alloc());
    codec->packet.reset(av_packet_alloc());
    if (!codec->context || !codec->frame || !codec->packet)
        throw std::runtime_error("no memory for the encoder");

    AVCodecContext* c = codec->context.get();
    const uint32_t bFrames = o.gop >= 3 ? 2 : 0;
    const std::string gop = std::to_string(o.gop), b = std::to_string(bFrames);
    c->width = static_cast<int>(o.width);
    c->height = static_cast<int>(o.height);
    c->time_base = {static_cast<int>(o.rateDenominator), static_cast<int>(o.rateNumerator)};
    c->framerate = {static_cast<int>(o.rateNumerator), static_cast<int>(o.rateDenominator)};
    c->pix_fmt = PixelFormat(o);
    c->gop_size = static_cast<int>(o.gop);
    c->keyint_min = static_cast<int>(o.gop);
    c->max_b_frames = static_cast<int>(bFrames);
    c->thread_count = 1;
    c->flags |= AV_CODEC_FLAG_CLOSED_GOP | AV_CODEC_FLAG_BITEXACT;
    SetColour(c, o);
    // Without grain, constant quality; with it, an average bitrate held by a one-second buffer,
    // as cameras record.
    const bool grain = o.grain > 0;
    if (grain) {
        c->bit_rate = c->rc_max_rate = GrainBitrate(o);
        c->rc_buffer_size = static_cast<int>(std::min<int64_t>(c->bit_rate, INT32_MAX));
    }
    switch (o.codec) {
        case SynthCodec::H264:
            av_opt_set(c->priv_data, "preset", "superfast", 0);
            if (!grain) av_opt_set(c->priv_data, "crf", "26", 0);
            av_opt_set(c->priv_data, "x264-params",
                       ("keyint=" + gop + ":min-keyint=" + gop + ":scenecut=0:bframes=" + b +
                        ":b-adapt=0:b-pyramid=none:open-gop=0:threads=1:lookahead-threads=1")
                           .c_str(),
                       0);
            break;
        case SynthCodec::HEVC:
            av_opt_set(c->priv_data, "preset", "ultrafast", 0);
            if (!grain) av_opt_set(c->priv_data, "crf", "28", 0);
            av_opt_set(c->priv_data, "x265-params",
                       ("keyint=" + gop + ":min-keyint=" + gop + ":scenecut=0:bframes=" + b +
                        ":b-adapt=0:open-gop=0:frame-threads=1:pools=none:wpp=0:info=0"
                        ":repeat-headers=1:log-level=error")
                           .c_str(),
                       0);
            break;
        case SynthCodec::MPEG2:
            // Scene cuts would break the closed GOPs; the pattern has none anyway.
            av_opt_set_int(c->priv_data, "sc_threshold", 1000000000, 0);
            if (grain) {
                // The buffer and rate that high level allows.
                c->bit_rate = c->rc_max_rate = std::min<int64_t>(c->bit_rate, 80'000'000);
                c->rc_buffer_size = 9'781'248;
            } else {
                c->flags |= AV_CODEC_FLAG_QSCALE;
                c->global_quality = 4 * FF_QP2LAMBDA;
            }
            break;
    }
    if (const int code = avcodec_open2(c, encoder, nullptr); code < 0)
        Fail(std::string("cannot open ") + name, code);

    AVFrame* f = codec->frame.get();
    f->format = c->pix_fmt;
    f->width = c->width;
    f->height = c->height;
    if (const int code = av_frame_get_buffer(f, 0); code < 0) Fail("no picture buffer", code);
}

TestPatternEncoder::~TestPatternEncoder() = default;

std::vector<CodedPicture> TestPatternEncoder::EncodeAll() {
    const SynthOptions& o = plan.options;
    const TestPattern pattern(o.width, o.height, o.bitDepth, o.chroma, o.grain);
    AVCodecContext* c = codec->context.get();
    AVFrame* f = codec->frame.get();
    AVPacket* p = codec->packet.get();
    std::vector<CodedPicture> pictures;
    pictures.reserve(o.frames);

    const auto drain = [&] {
        for (;;) {
            const int code = avcodec_receive_packet(c, p);
            if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return;
            if (code < 0) Fail("encoding failed", code);
            pictures.push_back({std::vector<uint8_t>(p->data, p->data + p->size),
                                static_cast<uint64_t>(p->pts), (p->flags & AV_PKT_FLAG_KEY) != 0});
            av_packet_unref(p);
        }
    };
    for (uint32_t n = 0; n < o.frames; ++n) {
        if (const int code = av_frame_make_writable(f); code < 0) Fail("no picture buffer", code);
        pattern.Draw(n, f->data, f->linesize);
        f->pts = n;
        if (const int code = avcodec_send_frame(c, f); code < 0) Fail("encoding failed", code);
        drain();
    }
    if (const int code = avcodec_send_frame(c, nullptr); code < 0) Fail("encoding failed", code);
    drain();
    if (pictures.size() != o.frames) throw std::runtime_error("the encoder lost pictures");
    return pictures;
}

}  // namespace synth

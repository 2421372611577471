#include "codecs/CMBXHevcDecoder.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

CMBXHevcDecoder::CMBXHevcDecoder() : AVMovieDecoder(AV_CODEC_ID_HEVC) {}

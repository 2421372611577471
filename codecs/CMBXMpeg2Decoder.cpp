#include "codecs/CMBXMpeg2Decoder.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

CMBXMpeg2Decoder::CMBXMpeg2Decoder() : AVMovieDecoder(AV_CODEC_ID_MPEG2VIDEO) {}

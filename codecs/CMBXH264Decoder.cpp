#include "codecs/CMBXH264Decoder.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

CMBXH264Decoder::CMBXH264Decoder() : AVMovieDecoder(AV_CODEC_ID_H264) {}

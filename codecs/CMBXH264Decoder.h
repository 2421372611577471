// CMBXH264Decoder: the movie decoder for H.264 (Annex B byte stream) pictures; see AVMovieDecoder
// for its behaviour.
#pragma once

#include "codecs/AVMovieDecoder.h"

class CMBXH264Decoder : public AVMovieDecoder {
public:
    CMBXH264Decoder();
};

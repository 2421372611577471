// CMBXMpeg2Decoder: the movie decoder for MPEG-2 video (elementary stream) pictures; see
// AVMovieDecoder for its behaviour.
#pragma once

#include "codecs/AVMovieDecoder.h"

class CMBXMpeg2Decoder : public AVMovieDecoder {
public:
    CMBXMpeg2Decoder();
};

// CMBXHevcDecoder: the movie decoder for HEVC (Annex B byte stream) pictures; see AVMovieDecoder
// for its behaviour.
#pragma once

#include "codecs/AVMovieDecoder.h"

class CMBXHevcDecoder : public AVMovieDecoder {
public:
    CMBXHevcDecoder();
};

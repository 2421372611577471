// MXFParserOutputPin: the base of the MXF parser's pins. Everything is CParserOutputPin's; the
// class names the container so that each MXF pin reads as its own kind.
#pragma once

#include "filters/ParserOutputPin.h"

class MXFParserOutputPin : public CParserOutputPin {
public:
    using CParserOutputPin::CParserOutputPin;
};

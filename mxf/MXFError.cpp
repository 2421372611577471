#include "mxf/MXFError.h"

const char* MXFErrorText(uint32_t code) {
    switch (code) {
        case MXFErrorNone:
            return "no error";
        case MXFErrorArgument:
            return "bad argument";
        case MXFErrorMemory:
            return "out of memory";
        case MXFErrorParse:
            return "the file could not be read as MXF";
        case MBXCacheErrorMemory:
            return "no memory for the block cache";
        default:
            return "unknown error";
    }
}

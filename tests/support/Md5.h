// MD5 of a byte range as lowercase hex, through libavutil (an independent implementation that
// the oracles share).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" {
#include <libavutil/md5.h>
}

namespace qvtest {

inline std::string Md5Hex(const void* data, size_t size) {
    uint8_t digest[16];
    av_md5_sum(digest, static_cast<const uint8_t*>(data), size);
    static const char* hex = "0123456789abcdef";
    std::string text;
    for (uint8_t b : digest) {
        text += hex[b >> 4];
        text += hex[b & 15];
    }
    return text;
}

}  // namespace qvtest

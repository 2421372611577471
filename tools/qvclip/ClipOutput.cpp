#include "tools/qvclip/ClipOutput.h"

#include <cstdio>

extern "C" {
#include <libavutil/md5.h>
}

namespace qvclip {

void PrintJsonLine(const Json& value) {
    const std::string line = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
}

std::string Md5Hex(std::span<const uint8_t> bytes) {
    uint8_t digest[16];
    av_md5_sum(digest, bytes.data(), bytes.size());
    static constexpr char kHex[] = "0123456789abcdef";
    std::string text;
    for (uint8_t b : digest) {
        text += kHex[b >> 4];
        text += kHex[b & 15];
    }
    return text;
}

}  // namespace qvclip

#include "tools/qvclip/ClipOutput.h"

#include <unistd.h>
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

ModuleOutputAside::ModuleOutputAside() {
    std::fflush(stdout);
    m_saved = dup(STDOUT_FILENO);
    if (m_saved >= 0 && dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        close(m_saved);
        m_saved = -1;
    }
}

ModuleOutputAside::~ModuleOutputAside() {
    if (m_saved < 0) return;
    std::fflush(stdout);
    dup2(m_saved, STDOUT_FILENO);
    close(m_saved);
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

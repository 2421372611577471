#include "platform/DisplayLuminance.h"

#include <atomic>
#include <cstdlib>

namespace platform {

namespace {
std::atomic<uint32_t> hostNits{0};
}  // namespace

uint32_t ParseDisplayNits(const char* text) {
    if (!text || !*text) return 0;
    uint32_t value = 0;
    for (const char* c = text; *c; ++c) {
        if (*c < '0' || *c > '9') return 0;
        value = value * 10 + static_cast<uint32_t>(*c - '0');
        if (value > kMaxDisplayNits) return 0;  // also stops the sum before it can wrap
    }
    return value;
}

uint32_t DisplayPeakLuminance() {
    const uint32_t host = hostNits.load();
    if (host != 0) return host;
    return ParseDisplayNits(std::getenv(kDisplayNitsVariable));
}

void SetDisplayPeakLuminance(uint32_t nits) {
    hostNits.store(nits > kMaxDisplayNits ? kMaxDisplayNits : nits);
}

}  // namespace platform

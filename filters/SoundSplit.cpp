#include "filters/SoundSplit.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace sound_split {

namespace {

constexpr uint8_t kFeedsLeft = 1;
constexpr uint8_t kFeedsRight = 2;

constexpr double kDecibelsPerDecade = 20.0;
constexpr double kHundredths = 100.0;

uint8_t Sides(uint32_t role) {
    switch (role) {
        case kRoleLeft:
            return kFeedsLeft;
        case kRoleRight:
            return kFeedsRight;
        case kRoleBoth:
            return kFeedsLeft | kFeedsRight;
        default:
            return 0;
    }
}

// One pass over the whole frames, for samples of W bytes. The peaks start at 0.
template <uint32_t W>
void Fold(const uint8_t* in, size_t frames, uint32_t channels, const uint8_t* sides,
          int64_t leftCount, int64_t rightCount, uint8_t* out, uint32_t* peaks) {
    constexpr uint32_t kMask = (1u << (8 * W)) - 1;
    constexpr uint32_t kSign = 1u << (8 * W - 1);
    const size_t frameBytes = size_t{W} * channels;
    for (size_t k = 0; k < frames; ++k) {
        const uint8_t* frame = in + k * frameBytes;
        int64_t left = 0;
        int64_t right = 0;
        for (uint32_t c = 0; c < channels; ++c) {
            const uint8_t* bytes = frame + size_t{c} * W;
            uint32_t v = 0;
            for (uint32_t b = 0; b < W; ++b) v |= uint32_t{bytes[b]} << (8 * b);
            const bool negative = (v & kSign) != 0;
            const int64_t value = negative ? int64_t{v} - int64_t{kMask} - 1 : int64_t{v};
            if (sides[c] & kFeedsLeft) left += value;
            if (sides[c] & kFeedsRight) right += value;
            const uint32_t magnitude = negative ? kMask - v : v;
            if (magnitude > peaks[c]) peaks[c] = magnitude;
        }
        // A mean of in-range samples is in range, so the low W bytes carry it whole.
        if (leftCount > 1) left /= leftCount;
        if (rightCount > 1) right /= rightCount;
        uint8_t* target = out + 2 * W * k;
        const auto l = static_cast<uint64_t>(left);
        const auto r = static_cast<uint64_t>(right);
        for (uint32_t b = 0; b < W; ++b) {
            target[b] = static_cast<uint8_t>(l >> (8 * b));
            target[W + b] = static_cast<uint8_t>(r >> (8 * b));
        }
    }
}

}  // namespace

bool IsSupportedWidth(uint32_t bitsPerSample) {
    return bitsPerSample == 16 || bitsPerSample == 24;
}

size_t StereoLength(size_t inputLength, uint32_t channels) {
    return channels == 0 ? 0 : 2 * (inputLength / channels);
}

int16_t PeakLevel(uint32_t peak, uint32_t fullScale) {
    if (peak == 0 || fullScale == 0) return kLevelFloor;
    const double level = kDecibelsPerDecade *
                         std::log10(static_cast<double>(peak) / static_cast<double>(fullScale)) *
                         kHundredths;
    const double held = std::clamp(std::trunc(level), static_cast<double>(kLevelFloor),
                                   static_cast<double>(std::numeric_limits<int16_t>::max()));
    return static_cast<int16_t>(held);
}

bool SplitAndMeasure(std::span<const uint8_t> input, uint32_t channels, uint32_t bitsPerSample,
                     std::span<const uint32_t> roles, std::span<uint8_t> stereo,
                     std::span<int16_t> levels) {
    if (!IsSupportedWidth(bitsPerSample) || channels == 0) return false;
    const size_t stereoLength = StereoLength(input.size(), channels);
    if (roles.size() < channels || levels.size() < channels || stereo.size() < stereoLength)
        return false;
    std::unique_ptr<uint32_t[]> peaks(new (std::nothrow) uint32_t[channels]());
    std::unique_ptr<uint8_t[]> sides(new (std::nothrow) uint8_t[channels]);
    if (!peaks || !sides) return false;

    // The roles are read once, so every frame of the call folds the same way.
    int64_t leftCount = 0;
    int64_t rightCount = 0;
    for (uint32_t c = 0; c < channels; ++c) {
        sides[c] = Sides(roles[c]);
        if (sides[c] & kFeedsLeft) ++leftCount;
        if (sides[c] & kFeedsRight) ++rightCount;
    }

    const uint32_t width = bitsPerSample / 8;
    const size_t frames = input.size() / (size_t{width} * channels);
    if (stereoLength) std::memset(stereo.data(), 0, stereoLength);
    if (width == 2) {
        Fold<2>(input.data(), frames, channels, sides.get(), leftCount, rightCount, stereo.data(),
                peaks.get());
    } else {
        Fold<3>(input.data(), frames, channels, sides.get(), leftCount, rightCount, stereo.data(),
                peaks.get());
    }
    const uint32_t fullScale = (1u << (bitsPerSample - 1)) - 1;
    for (uint32_t c = 0; c < channels; ++c) levels[c] = PeakLevel(peaks[c], fullScale);
    return true;
}

}  // namespace sound_split

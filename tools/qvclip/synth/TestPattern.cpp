#include "tools/qvclip/synth/TestPattern.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace synth {

namespace {

constexpr uint32_t RampPeriod = 512;
constexpr uint16_t Black = 16, White = 235, Neutral = 128;

// Segments a to g of the digits 0 to 9, bit 0 for a.
constexpr uint8_t DigitSegments[10] = {0x3F, 0x06, 0x5B, 0x4F, 0x66, 0x6D, 0x7D, 0x07, 0x7F, 0x6F};

std::vector<uint16_t> Ramp(uint32_t length, int low, int high, uint32_t phase) {
    std::vector<uint16_t> ramp(length);
    const int half = RampPeriod / 2;
    for (uint32_t i = 0; i < length; ++i) {
        const int position = static_cast<int>((i + phase) % RampPeriod);
        ramp[i] = static_cast<uint16_t>(low + (high - low) * std::abs(position - half) / half);
    }
    return ramp;
}

uint32_t Even(uint32_t value) {
    return value & ~1u;
}

// An even-sided rectangle in luma coordinates, drawn into all three planes.
struct Rect {
    uint32_t x, y, w, h;
};

}  // namespace

TestPattern::TestPattern(uint32_t width, uint32_t height, uint32_t bitDepth, uint32_t chroma)
    : width(width), height(height), bitDepth(bitDepth), chromaHeightShift(chroma == 420 ? 1 : 0) {
    lumaRamp = Ramp(RampPeriod + width, 32, 200, 0);
    blueRamp = Ramp(RampPeriod + width, 80, 176, 0);
    redRamp = Ramp(RampPeriod + width, 80, 176, RampPeriod / 3);
}

void TestPattern::Draw(uint64_t number, uint8_t* const planes[3], const int strides[3]) const {
    if (bitDepth == 8)
        DrawAs<uint8_t>(number, planes, strides);
    else
        DrawAs<uint16_t>(number, planes, strides);
}

template <typename Sample>
void TestPattern::DrawAs(uint64_t number, uint8_t* const planes[3], const int strides[3]) const {
    const uint32_t shift = bitDepth - 8;
    const auto line = [&](int plane, uint32_t y) {
        return reinterpret_cast<Sample*>(planes[plane] + static_cast<size_t>(strides[plane]) * y);
    };
    const auto scaled = [shift](uint16_t value) { return static_cast<Sample>(value << shift); };
    const uint32_t chromaWidth = width / 2, chromaHeight = height >> chromaHeightShift;

    for (uint32_t y = 0; y < height; ++y) {
        const uint16_t* ramp = &lumaRamp[(y / 2 + 4 * number) % RampPeriod];
        std::transform(ramp, ramp + width, line(0, y), scaled);
    }
    for (uint32_t y = 0; y < chromaHeight; ++y) {
        const uint16_t* blue = &blueRamp[(y + 3 * number) % RampPeriod];
        const uint16_t* red = &redRamp[(RampPeriod - y % RampPeriod + 2 * number) % RampPeriod];
        std::transform(blue, blue + chromaWidth, line(1, y), scaled);
        std::transform(red, red + chromaWidth, line(2, y), scaled);
    }

    const auto fill = [&](Rect r, uint16_t luma) {
        for (uint32_t y = r.y; y < r.y + r.h; ++y) std::fill_n(line(0, y) + r.x, r.w, scaled(luma));
        for (uint32_t y = r.y >> chromaHeightShift; y < (r.y + r.h) >> chromaHeightShift; ++y)
            for (int plane : {1, 2})
                std::fill_n(line(plane, y) + r.x / 2, r.w / 2, scaled(Neutral));
    };

    const uint32_t side = std::max(2u, Even(std::min(height / 5, width / 2)));
    fill({Even(static_cast<uint32_t>(number * 6 % (width - side))), Even((height - side) / 2), side,
          side},
         White);

    // The digits: at least four, as many as the number needs, and no more than fit.
    const std::string digits = [&] {
        std::string text = std::to_string(number);
        return text.size() < 4 ? std::string(4 - text.size(), '0') + text : text;
    }();
    const uint32_t thick = std::max(2u, Even(height / 48));
    const uint32_t digitHeight = Even(std::max(10u, height / 6));
    const uint32_t digitWidth = Even(digitHeight / 2);
    const uint32_t pitch = digitWidth + 2 * thick;
    const uint32_t count =
        std::min<uint32_t>(static_cast<uint32_t>(digits.size()), (width - 2 * thick) / pitch);
    if (count == 0 || digitHeight + 2 * thick > height) return;
    fill({0, 0, count * pitch + 2 * thick, digitHeight + 2 * thick}, Black);
    const uint32_t half = Even(digitHeight / 2);
    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t segments = DigitSegments[digits[digits.size() - count + i] - '0'];
        const uint32_t x = 2 * thick + i * pitch, y = thick;
        const Rect parts[7] = {
            {x, y, digitWidth, thick},                                      // a
            {x + digitWidth - thick, y, thick, half},                       // b
            {x + digitWidth - thick, y + half, thick, digitHeight - half},  // c
            {x, y + digitHeight - thick, digitWidth, thick},                // d
            {x, y + half, thick, digitHeight - half},                       // e
            {x, y, thick, half},                                            // f
            {x, y + half - thick / 2, digitWidth, thick},                   // g
        };
        for (int s = 0; s < 7; ++s)
            if (segments & (1 << s)) fill(parts[s], White);
    }
}

}  // namespace synth

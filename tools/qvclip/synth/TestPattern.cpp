#include "tools/qvclip/synth/TestPattern.h"

#include <algorithm>
#include <cstdlib>

namespace synth {

namespace {

constexpr uint32_t RampPeriod = 512;
constexpr uint16_t Black = 16, White = 235, Neutral = 128;
constexpr uint32_t ShownDigits = 6;

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

uint32_t Power10(uint32_t exponent) {
    uint32_t value = 1;
    while (exponent--) value *= 10;
    return value;
}

// Where the digits stand: a row of `count` cells in a black box in the top left corner.
struct DigitLayout {
    uint32_t count = 0, modulus = 1;
    uint32_t height = 0, width = 0, half = 0, thick = 0, pitch = 0;
};

DigitLayout Layout(uint32_t pictureWidth, uint32_t pictureHeight) {
    DigitLayout d;
    d.height = Even(std::max(10u, pictureHeight / 8));
    d.width = Even(d.height / 2);
    d.half = Even(d.height / 2);
    // Thick enough to survive compression, thin enough that no segment's middle lies in another.
    d.thick = std::max(2u, Even(d.height / 6));
    d.pitch = d.width + 2 * d.thick;
    if (d.height + 2 * d.thick > pictureHeight) return d;
    d.count = std::min(ShownDigits, (pictureWidth - 2 * d.thick) / d.pitch);
    d.modulus = Power10(d.count);
    return d;
}

// Segment a to g (0 to 6) of the digit in cell `position`.
Rect Segment(const DigitLayout& d, uint32_t position, int segment) {
    const uint32_t x = 2 * d.thick + position * d.pitch, y = d.thick;
    const uint32_t right = x + d.width - d.thick, lower = d.height - d.half;
    const Rect parts[7] = {
        {x, y, d.width, d.thick},                         // a
        {right, y, d.thick, d.half},                      // b
        {right, y + d.half, d.thick, lower},              // c
        {x, y + d.height - d.thick, d.width, d.thick},    // d
        {x, y + d.half, d.thick, lower},                  // e
        {x, y, d.thick, d.half},                          // f
        {x, y + d.half - d.thick / 2, d.width, d.thick},  // g
    };
    return parts[segment];
}

// The box behind the digits, in luma coordinates; empty when no digit fits.
Rect DigitBox(const DigitLayout& d) {
    if (d.count == 0) return {};
    return {0, 0, d.count * d.pitch + 2 * d.thick, d.height + 2 * d.thick};
}

uint64_t Scramble(uint64_t value) {
    value += 0x9E3779B97F4A7C15ull;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ull;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBull;
    return value ^ (value >> 31);
}

// Adds noise in [-amplitude, amplitude] to `count` samples of a line, clamped to [0, top]; the
// line's generator starts from `seed`. Samples before `from` keep their values.
template <typename Sample>
void GrainLine(Sample* line, uint32_t from, uint32_t count, uint64_t seed, int amplitude, int top) {
    const uint32_t span = 2 * static_cast<uint32_t>(amplitude) + 1;
    uint64_t state = Scramble(seed) | 1;
    for (uint32_t x = 0; x < count; x += 4) {
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        uint64_t bits = state * 0x2545F4914F6CDD1Dull;
        const uint32_t end = std::min(count, x + 4);
        for (uint32_t i = x; i < end; ++i, bits >>= 16) {
            if (i < from) continue;
            const int noise = static_cast<int>(((bits & 0xFFFF) * span) >> 16) - amplitude;
            line[i] = static_cast<Sample>(std::clamp(line[i] + noise, 0, top));
        }
    }
}

}  // namespace

TestPattern::TestPattern(uint32_t width, uint32_t height, uint32_t bitDepth, uint32_t chroma,
                         uint32_t grain)
    : width(width),
      height(height),
      bitDepth(bitDepth),
      chromaHeightShift(chroma == 420 ? 1 : 0),
      grain(grain) {
    lumaRamp = Ramp(RampPeriod + width, 32, 200, 0);
    blueRamp = Ramp(RampPeriod + width, 80, 176, 0);
    redRamp = Ramp(RampPeriod + width, 80, 176, RampPeriod / 3);
}

void TestPattern::Draw(uint64_t number, uint8_t* const planes[3], const int strides[3]) const {
    if (bitDepth == 8) {
        DrawAs<uint8_t>(number, planes, strides);
        if (grain) AddGrain<uint8_t>(number, planes, strides);
    } else {
        DrawAs<uint16_t>(number, planes, strides);
        if (grain) AddGrain<uint16_t>(number, planes, strides);
    }
}

template <typename Sample>
void TestPattern::AddGrain(uint64_t number, uint8_t* const planes[3], const int strides[3]) const {
    const uint32_t shift = bitDepth - 8;
    const int top = (1 << bitDepth) - 1;
    const Rect box = DigitBox(Layout(width, height));
    const uint64_t pictureSeed = Scramble(number);
    for (int plane = 0; plane < 3; ++plane) {
        const bool luma = plane == 0;
        const uint32_t lines = luma ? height : height >> chromaHeightShift;
        const uint32_t count = luma ? width : width / 2;
        const uint32_t boxLines = luma ? box.h : box.h >> chromaHeightShift;
        const uint32_t boxWidth = luma ? box.w : box.w / 2;
        const int amplitude = static_cast<int>((luma ? grain : grain / 2) << shift);
        if (amplitude == 0) continue;
        for (uint32_t y = 0; y < lines; ++y) {
            Sample* line =
                reinterpret_cast<Sample*>(planes[plane] + static_cast<size_t>(strides[plane]) * y);
            const uint64_t seed = pictureSeed ^ (uint64_t{static_cast<uint32_t>(plane)} << 32 | y);
            GrainLine(line, y < boxLines ? boxWidth : 0, count, seed, amplitude, top);
        }
    }
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

    const DigitLayout digits = Layout(width, height);
    if (digits.count == 0) return;
    fill(DigitBox(digits), Black);
    for (uint32_t i = 0, shown = static_cast<uint32_t>(number % digits.modulus); i < digits.count;
         ++i) {
        const uint32_t place = digits.count - 1 - i;
        const uint8_t segments = DigitSegments[shown / Power10(place) % 10];
        for (int segment = 0; segment < 7; ++segment)
            if (segments & (1 << segment)) fill(Segment(digits, i, segment), White);
    }
}

std::optional<uint64_t> TestPattern::ReadNumber(const uint8_t* luma, int stride) const {
    const DigitLayout digits = Layout(width, height);
    if (digits.count == 0) return std::nullopt;
    const uint32_t threshold = (uint32_t{Black} + White) / 2 << (bitDepth - 8);
    uint64_t number = 0;
    for (uint32_t i = 0; i < digits.count; ++i) {
        uint8_t segments = 0;
        for (int segment = 0; segment < 7; ++segment) {
            const Rect r = Segment(digits, i, segment);
            const uint8_t* row = luma + static_cast<size_t>(stride) * (r.y + r.h / 2);
            const uint32_t x = r.x + r.w / 2;
            const uint32_t value = bitDepth == 8 ? row[x] : row[2 * x] | row[2 * x + 1] << 8;
            if (value > threshold) segments |= static_cast<uint8_t>(1 << segment);
        }
        const auto found = std::find(std::begin(DigitSegments), std::end(DigitSegments), segments);
        if (found == std::end(DigitSegments)) return std::nullopt;
        number = number * 10 + static_cast<uint64_t>(found - std::begin(DigitSegments));
    }
    return number;
}

}  // namespace synth

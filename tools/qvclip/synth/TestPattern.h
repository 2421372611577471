// TestPattern: the moving picture of a test clip in planar Y'CbCr, 8 bits or more a sample (then
// two bytes, little-endian, as the encoders take it), 4:2:0 or 4:2:2. Diagonal ramps scroll with
// the picture's number, a white square moves across the middle, and the number's last six digits
// (fewer when the picture is narrow) stand in the top left corner in seven-segment digits, white
// on black, so that a decoded frame shows which one it is, and ReadNumber tells it back.
// With grain, deterministic noise of that amplitude (in 8-bit steps; half of it on chroma) is added
// to every sample but those of the number's box, different in every picture and drawn from the
// picture's number, the plane and the sample's place alone.
// Drawing depends on the number alone. A value: no state.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace synth {

class TestPattern {
public:
    TestPattern(uint32_t width, uint32_t height, uint32_t bitDepth, uint32_t chroma,
                uint32_t grain = 0);

    // Draws picture `number` into the three planes, whose lines are `strides` bytes apart.
    void Draw(uint64_t number, uint8_t* const planes[3], const int strides[3]) const;
    // The number shown in a picture of this pattern's size and depth, from its luma plane
    // (decoded, so maybe with losses); nothing when the digits cannot be made out.
    std::optional<uint64_t> ReadNumber(const uint8_t* luma, int stride) const;

private:
    template <typename Sample>
    void DrawAs(uint64_t number, uint8_t* const planes[3], const int strides[3]) const;
    template <typename Sample>
    void AddGrain(uint64_t number, uint8_t* const planes[3], const int strides[3]) const;

    uint32_t width, height, bitDepth, chromaHeightShift, grain;
    std::vector<uint16_t> lumaRamp, blueRamp, redRamp;  // one period and a line, 8-bit values
};

}  // namespace synth

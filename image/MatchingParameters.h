// MatchingParameters: what a client asks of one picture conversion — the picture's gamut, gamma and
// look, the target gamut and gamma, the input layout and the output form. Plain data, copied freely.
#pragma once

#include <cstdint>

struct MatchingParameters {
    uint32_t sourceGamut = 0;  // 0, 2, 3 or 4 have conversions; 0 BT.709 matrix, 3 BT.2020
    uint32_t targetGamut = 0;
    uint32_t sourceGamma = 0;
    uint32_t targetGamma = 0;
    uint32_t hlgColor = 0;     // looked at only with gamma code 15; 255 counts as "not 1"
    uint32_t outputMode = 0;   // 0: 4 bytes a pixel out; 1 or 2: 3 (6 with outputDepth 1)
    uint32_t pixelFamily = 0;  // with pixelFormat: the input layout
    uint32_t pixelFormat = 0;
    uint32_t outputDepth = 0;  // 2: R, G, B, 0 and 3: B, G, R, 0 (with outputMode 0)
    int16_t width = 0;         // pixels a row, taken as a multiple of 4
    int16_t height = 0;
    uint32_t linePadding = 0;  // pixels skipped at the end of each output row
    uint8_t buildRuntimeTable = 0;
    uint8_t pictureFlag = 0;   // the picture needs no range expansion
    uint32_t lookType = 0;     // 7 to 255 prefer the look kernels
};

namespace matching {

// Input layouts that have kernels (pixelFamily, pixelFormat).
inline constexpr uint32_t kFormatYuy2 = 0;    // family 0: 8-bit 4:2:2, Y0 Cb Y1 Cr
inline constexpr uint32_t kFormatYuv16 = 3;   // family 3: 16-bit 4:2:2 words
inline constexpr uint32_t kFormatBgr4 = 8;    // family 0: 8-bit B G R unused
inline constexpr uint32_t kFormatBgr16 = 11;  // family 3: 16-bit B G R unused words

// Bytes a pixel on input: 0 gives 2; 3, 4 and 8 give 4; 7 and 11 give 8; every other value 0.
constexpr uint32_t BytesPerInputPixel(uint32_t pixelFormat) {
    switch (pixelFormat) {
    case 0: return 2;
    case 3: case 4: case 8: return 4;
    case 7: case 11: return 8;
    default: return 0;
    }
}

// Bytes a pixel on output: 4, except outputMode 1 or 2 with 6 (outputDepth 1) or 3.
constexpr uint32_t BytesPerOutputPixel(const MatchingParameters& p) {
    if (p.outputMode == 1 || p.outputMode == 2) return p.outputDepth == 1 ? 6 : 3;
    return 4;
}

}  // namespace matching

// IntegerTables: the 256 × 256 tables of the 8-bit 4:2:2 kernels without a look-up, which fold the
// matrix (and, in the `x` sets, the expansion of video range to full range) into integer reads.
// Red reads [Y × 256 + Cr], blue [Y × 256 + Cb], the green term [Cb × 256 + Cr]; green itself is
// clamp((luma[Y] + green[Cb × 256 + Cr] + 5000) / 10000), where luma is 10000 × Y in the plain sets
// and Yx[Y] in the `x` sets. Red and blue are made the same way from per-chroma terms, which are
// kept, so that vector code can compute what the byte tables hold. Integer division cuts towards
// zero throughout.
//
// Built once per process on first use (a function-local static: thread-safe), immutable after.
#pragma once

#include <cstdint>

#include "image/KernelPlan.h"

namespace image {

inline constexpr unsigned kIntegerTableSize = 256 * 256;

// One matrix's set: the plain or the `x` form of BT.709 or BT.2020.
struct IntegerSet {
    const uint8_t* red;    // [Y × 256 + Cr]
    const uint8_t* blue;   // [Y × 256 + Cb]
    const int32_t* green;  // [Cb × 256 + Cr]
    const int32_t* luma;   // [Y]: 10000 × Y, or Yx
    const int32_t*
        redTerm;  // [Cr]: red[Y × 256 + Cr] = clamp((luma[Y] + redTerm[Cr] + 5000) / 10000)
    const int32_t* blueTerm;  // [Cb]: the same for blue
};

// The chroma terms of one set.
struct ChromaTerms {
    int32_t red[256];
    int32_t blue[256];
};

struct IntegerTables {
    uint8_t r709[kIntegerTableSize], b709[kIntegerTableSize];
    uint8_t r2020[kIntegerTableSize], b2020[kIntegerTableSize];
    uint8_t r709x[kIntegerTableSize], b709x[kIntegerTableSize];
    uint8_t r2020x[kIntegerTableSize], b2020x[kIntegerTableSize];
    int32_t g709[kIntegerTableSize], g2020[kIntegerTableSize];
    int32_t g709x[kIntegerTableSize], g2020x[kIntegerTableSize];
    int32_t yPlain[256];  // 10000 × Y
    int32_t yx[256];      // (Y − 16) × 10000 × 256 / 239: luma from 16 expanded by 256/239
    uint8_t boost[256];   // v × 1.086758 in double precision, cut, at most 255
    ChromaTerms t709, t2020, t709x, t2020x;

    IntegerSet Set(Matrix matrix, bool expanded) const;
};

const IntegerTables& Integer();

// The green value of a set, also the clamp of every table: 0..255.
inline int32_t ClampByte(int32_t value) {
    return value < 0 ? 0 : value > 255 ? 255 : value;
}

inline uint8_t IntegerGreen(const IntegerSet& set, uint32_t y, uint32_t cb, uint32_t cr) {
    return static_cast<uint8_t>(ClampByte((set.luma[y] + set.green[cb * 256 + cr] + 5000) / 10000));
}

}  // namespace image

// The stage arithmetic of the float kernels, one pixel or one chunk of pixels at a time: the
// 4:2:2 walk with its chroma averaging, the matrices, the pre-scales, the 3D and 1D look-ups, the
// output stages and the packing. Every operation is a 32-bit float operation in the order written
// here (image/ compiles with -ffp-contract=off), so that a vectorised variant that performs the
// same operations in the same order gives the same bits. Pure functions, safe from any thread.
//
// Pixels travel between the stages in `Planes`: up to kChunkPixels values of R, G and B, one
// array a channel, which is what a vector unit wants.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "image/KernelData.h"
#include "image/KernelPlan.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace image::stages {

inline constexpr unsigned kGroupPixels = 4;  // a row is counted in groups of 4 pixels
inline constexpr unsigned kChunkGroups = 16;
inline constexpr unsigned kChunkPixels = kChunkGroups * kGroupPixels;

struct Planes {
    alignas(32) float r[kChunkPixels];
    alignas(32) float g[kChunkPixels];
    alignas(32) float b[kChunkPixels];
};

// ---- Element depth ------------------------------------------------------------------------------

// The constants that differ between 8-bit and 16-bit layouts.
struct Depth8 {
    using Element = uint8_t;
    static constexpr float kTop = 255.0f;
    static constexpr float kChromaZero = 128.0f;
    static constexpr float kLutScale = 0.1254902f;
    static constexpr float kLutFactor = 255.0f;
    static constexpr float kRangeOffset = 17.138f;
    static constexpr float kRangeFactor = 1.0f;
    static constexpr float kScale238A = 1.0714f, kScale238B = -17.1429f;
    static constexpr float kScale219A = 1.1644f, kScale219B = -18.6301f;
};

struct Depth16 {
    using Element = uint16_t;
    static constexpr float kTop = 65535.0f;
    static constexpr float kChromaZero = 32768.0f;
    static constexpr float kLutScale = 0.0004882887f;
    static constexpr float kLutFactor = 65535.0f;
    static constexpr float kRangeOffset = 4387.328f;
    static constexpr float kRangeFactor = 0.00390625f;
    static constexpr float kScale238A = 1.0756f, kScale238B = -4405.7144f;
    static constexpr float kScale219A = 1.1689f, kScale219B = -4787.9453f;
};

inline constexpr float kByteTop = 255.0f;
inline constexpr float kBy256 = 0.00390625f;

// Element `index` of a run of elements; 16-bit words in the machine's order, read without
// assuming alignment.
template <typename Element>
inline Element LoadElement(const uint8_t* base, size_t index) {
    Element value;
    std::memcpy(&value, base + index * sizeof(Element), sizeof(Element));
    return value;
}

// To the nearest integer, ties to even, as std::nearbyint in the default rounding mode. The SSE
// conversion rounds by the same mode without the library call (which saves and restores the
// floating-point environment, once per channel of every pixel). For |value| < 2^31.
inline int RoundToInt(float value) {
#if defined(__SSE2__)
    return _mm_cvtss_si32(_mm_set_ss(value));
#else
    return static_cast<int>(std::nearbyint(value));
#endif
}

// max then min: the order a vector variant uses too (it matters only for NaN, which no stage
// produces from limited inputs).
inline float Limit(float value, float top) {
    return std::min(std::max(value, 0.0f), top);
}

// ---- Input: the 4:2:2 walk ----------------------------------------------------------------------

// Chroma of the in-between pixels: the float kernels take (a + b) × 0.5, the integer ones
// (a + b) >> 1.
struct FloatAverage {
    using Value = float;
    static float Of(float a, float b) { return (a + b) * 0.5f; }
};
struct IntegerAverage {
    using Value = int32_t;
    static int32_t Of(int32_t a, int32_t b) { return (a + b) >> 1; }
};

// Calls pixel(k, y, cb, cr) for the 4 × `groups` pixels of 4:2:2 groups starting at `source`.
// Pixel 3 of a group averages with the next group's chroma (elements 9 and 11), except when
// `endsRow` says that the last group here is the row's last: then it takes elements 5 and 7
// alone, and nothing beyond the row is read.
template <typename Element, typename Average, typename Pixel>
inline void Walk422(const uint8_t* source, unsigned groups, bool endsRow, Pixel&& pixel) {
    using V = typename Average::Value;
    auto e = [source](size_t index) { return static_cast<V>(LoadElement<Element>(source, index)); };
    const unsigned inner = endsRow && groups > 0 ? groups - 1 : groups;
    for (unsigned g = 0; g < inner; ++g) {
        const size_t at = size_t{g} * 8;
        const V cb0 = e(at + 1), cr0 = e(at + 3), cb1 = e(at + 5), cr1 = e(at + 7);
        const V cbNext = e(at + 9), crNext = e(at + 11);
        pixel(g * 4 + 0, e(at + 0), cb0, cr0);
        pixel(g * 4 + 1, e(at + 2), Average::Of(cb0, cb1), Average::Of(cr0, cr1));
        pixel(g * 4 + 2, e(at + 4), cb1, cr1);
        pixel(g * 4 + 3, e(at + 6), Average::Of(cb1, cbNext), Average::Of(cr1, crNext));
    }
    if (inner != groups) {
        const unsigned g = inner;
        const size_t at = size_t{g} * 8;
        const V cb0 = e(at + 1), cr0 = e(at + 3), cb1 = e(at + 5), cr1 = e(at + 7);
        pixel(g * 4 + 0, e(at + 0), cb0, cr0);
        pixel(g * 4 + 1, e(at + 2), Average::Of(cb0, cb1), Average::Of(cr0, cr1));
        pixel(g * 4 + 2, e(at + 4), cb1, cr1);
        pixel(g * 4 + 3, e(at + 6), cb1, cr1);
    }
}

// ---- Input: matrices ----------------------------------------------------------------------------

// The published matrices; Y is not scaled, so the result keeps video range.
struct Bt709 {
    static constexpr float kRCr = 1.5748f, kGCr = 0.4681f, kGCb = 0.1873f, kBCb = 1.8556f;
};
struct Bt2020 {
    static constexpr float kRCr = 1.4746f, kGCr = 0.5714f, kGCb = 0.1646f, kBCb = 1.8814f;
};

template <typename Depth, typename M>
struct YuvMatrix {
    static void Apply(float y, float cb, float cr, float& r, float& g, float& b) {
        const float cbp = cb - Depth::kChromaZero;
        const float crp = cr - Depth::kChromaZero;
        r = Limit(y + M::kRCr * crp, Depth::kTop);
        g = Limit(y - (M::kGCr * crp + M::kGCb * cbp), Depth::kTop);
        b = Limit(y + M::kBCb * cbp, Depth::kTop);
    }
};

// The combined matrix-and-range form of 16-bit 4:2:2: raw Cb and Cr, results already in 0..255.
struct Combined709 {
    static void Apply(float y, float cb, float cr, float& r, float& g, float& b) {
        r = Limit((1.7997714f * cr + 1.0711297f * y - 63362.258f) * kBy256, kByteTop);
        g = Limit((-0.21405715f * cb - 0.5349714f * cr + 1.0711297f * y + 20156.82f) * kBy256,
                  kByteTop);
        b = Limit((2.1206858f * cb + 1.0711297f * y - 73877.98f) * kBy256, kByteTop);
    }
};
struct Combined2020 {
    static void Apply(float y, float cb, float cr, float& r, float& g, float& b) {
        r = Limit((1.6853f * cr + 1.0711f * y - 59609.855f) * kBy256, kByteTop);
        g = Limit((-0.1881f * cb - 0.653f * cr + 1.0711f * y + 23171.738f) * kBy256, kByteTop);
        b = Limit((2.1502f * cb + 1.0711f * y - 74844.16f) * kBy256, kByteTop);
    }
};

// 4:2:2 groups through a per-pixel conversion (YuvMatrix or Combined) into planes.
template <typename Depth, typename Convert>
inline void Input422(const uint8_t* source, unsigned groups, bool endsRow, Planes& p) {
    Walk422<typename Depth::Element, FloatAverage>(
        source, groups, endsRow, [&p](unsigned k, float y, float cb, float cr) {
            Convert::Apply(y, cb, cr, p.r[k], p.g[k], p.b[k]);
        });
}

// B, G, R, unused: taken as they are.
template <typename Depth>
inline void InputBgr(const uint8_t* source, unsigned groups, bool /*endsRow*/, Planes& p) {
    using E = typename Depth::Element;
    for (unsigned k = 0; k < groups * kGroupPixels; ++k) {
        p.b[k] = LoadElement<E>(source, size_t{k} * 4 + 0);
        p.g[k] = LoadElement<E>(source, size_t{k} * 4 + 1);
        p.r[k] = LoadElement<E>(source, size_t{k} * 4 + 2);
    }
}

// ---- Pre-scale ----------------------------------------------------------------------------------

template <typename Depth, PreScale kScale>
inline void PreScaleStage(Planes& p, unsigned n) {
    static_assert(kScale != PreScale::None);
    constexpr float a = kScale == PreScale::Scale238 ? Depth::kScale238A : Depth::kScale219A;
    constexpr float b = kScale == PreScale::Scale238 ? Depth::kScale238B : Depth::kScale219B;
    for (unsigned k = 0; k < n; ++k) {
        p.r[k] = Limit(p.r[k] * a + b, Depth::kTop);
        p.g[k] = Limit(p.g[k] * a + b, Depth::kTop);
        p.b[k] = Limit(p.b[k] * a + b, Depth::kTop);
    }
}

// ---- 3D look-up ---------------------------------------------------------------------------------

inline constexpr float kLutCap = 31.9999f;  // not 32: node 32 is reached, node 33 never
// Floats between neighbouring nodes along R (the fastest axis), G and B.
inline constexpr unsigned kLutStrideR = 3;
inline constexpr unsigned kLutStrideG = kLutSize * kLutStrideR;
inline constexpr unsigned kLutStrideB = kLutSize * kLutStrideG;

// One linear step, in the form every look-up here uses: (b − a) × f + a.
inline float Lerp(float a, float b, float f) {
    return (b - a) * f + a;
}

// Position on one axis: x = min(v × s, cap); i = x − 0.5 rounded to nearest, ties to even;
// f = x − i. An integer x therefore gives either i = x, f = 0 or i = x − 1, f = 1.
struct AxisPosition {
    unsigned index;
    float fraction;
};
inline AxisPosition LutAxis(float value, float scale) {
    const float x = std::min(value * scale, kLutCap);
    const int i = RoundToInt(x - 0.5f);
    return {static_cast<unsigned>(i), x - static_cast<float>(i)};
}

// Trilinear interpolation over the eight nodes (iR or iR + 1, iG or iG + 1, iB or iB + 1), in
// this fixed order, which a vectorised variant must keep to give the same bits:
//   along R: c00 = Lerp(n000, n100, fR), c10 = Lerp(n010, n110, fR),
//            c01 = Lerp(n001, n101, fR), c11 = Lerp(n011, n111, fR)
//            (n<r><g><b>: 0 for the lower node on that axis, 1 for the upper)
//   along G: c0 = Lerp(c00, c10, fG), c1 = Lerp(c01, c11, fG)
//   along B: v = Lerp(c0, c1, fB); result v × factor, not limited.
// Each output channel reads its own element of the nodes.
template <typename Depth>
inline void Lut3DStage(Planes& p, unsigned n, const float* lut) {
    for (unsigned k = 0; k < n; ++k) {
        const AxisPosition r = LutAxis(p.r[k], Depth::kLutScale);
        const AxisPosition g = LutAxis(p.g[k], Depth::kLutScale);
        const AxisPosition b = LutAxis(p.b[k], Depth::kLutScale);
        const float* n000 =
            lut + r.index * kLutStrideR + g.index * kLutStrideG + b.index * kLutStrideB;
        float out[3];
        for (unsigned c = 0; c < 3; ++c) {
            const float* o = n000 + c;
            const float c00 = Lerp(o[0], o[kLutStrideR], r.fraction);
            const float c10 = Lerp(o[kLutStrideG], o[kLutStrideG + kLutStrideR], r.fraction);
            const float c01 = Lerp(o[kLutStrideB], o[kLutStrideB + kLutStrideR], r.fraction);
            const float c11 = Lerp(o[kLutStrideB + kLutStrideG],
                                   o[kLutStrideB + kLutStrideG + kLutStrideR], r.fraction);
            const float c0 = Lerp(c00, c10, g.fraction);
            const float c1 = Lerp(c01, c11, g.fraction);
            out[c] = Lerp(c0, c1, b.fraction) * Depth::kLutFactor;
        }
        p.r[k] = out[0];
        p.g[k] = out[1];
        p.b[k] = out[2];
    }
}

// ---- 1D look-up ---------------------------------------------------------------------------------

// Per channel: i = x − 0.5 rounded, ties to even; f = x − i; ((T[i + 1] − T[i]) × f + T[i]) ×
// factor, each channel from its own column of the curve (3 floats an entry). With x limited to
// 0..top, i + 1 never passes the last entry (255: i = 254, f = 1).
template <typename Depth>
inline float CurvePoint(float x, const float* column) {
    const int i = RoundToInt(x - 0.5f);
    const size_t at = static_cast<size_t>(i) * 3;
    return Lerp(column[at], column[at + 3], x - static_cast<float>(i)) * Depth::kLutFactor;
}

template <typename Depth>
inline void CurveStage(Planes& p, unsigned n, const float* curve) {
    for (unsigned k = 0; k < n; ++k) {
        p.r[k] = CurvePoint<Depth>(p.r[k], curve + 0);
        p.g[k] = CurvePoint<Depth>(p.g[k], curve + 1);
        p.b[k] = CurvePoint<Depth>(p.b[k], curve + 2);
    }
}

// ---- Output stages ------------------------------------------------------------------------------

template <typename Depth>
inline void Range709Stage(Planes& p, unsigned n) {
    constexpr float o = Depth::kRangeOffset, k = Depth::kRangeFactor;
    for (unsigned j = 0; j < n; ++j) {
        const float r = p.r[j], g = p.g[j], b = p.b[j];
        p.r[j] = Limit((1.1276f * r - o - (0.0051f * b + 0.0514f * g)) * k, kByteTop);
        p.g[j] = Limit((-0.0052f * b + 1.0916f * g - (0.0152f * r + o)) * k, kByteTop);
        p.b[j] = Limit((1.1377f * b - 0.0512f * g - (0.0153f * r + o)) * k, kByteTop);
    }
}

template <typename Depth>
inline void Range2020Stage(Planes& p, unsigned n) {
    constexpr float o = Depth::kRangeOffset, k = Depth::kRangeFactor;
    for (unsigned j = 0; j < n; ++j) {
        const float r = p.r[j], g = p.g[j], b = p.b[j];
        p.r[j] = Limit((1.124f * r - o - (0.0043f * b + 0.0486f * g)) * k, kByteTop);
        p.g[j] = Limit((1.0942f * g - 0.0043f * b - (0.0188f * r + o)) * k, kByteTop);
        p.b[j] = Limit((1.1386f * b - 0.0486f * g - (0.0188f * r + o)) * k, kByteTop);
    }
}

// "× 0.00390625, limited to 255": 16-bit matrix output without a range stage.
inline void By256Stage(Planes& p, unsigned n) {
    for (unsigned j = 0; j < n; ++j) {
        p.r[j] = Limit(p.r[j] * kBy256, kByteTop);
        p.g[j] = Limit(p.g[j] * kBy256, kByteTop);
        p.b[j] = Limit(p.b[j] * kBy256, kByteTop);
    }
}

// No output stage in a 16-bit layout: x / 65535 × 255. (An 8-bit value goes on as it stands.)
inline void Narrow16Stage(Planes& p, unsigned n) {
    for (unsigned j = 0; j < n; ++j) {
        p.r[j] = Limit(p.r[j] / 65535.0f * 255.0f, kByteTop);
        p.g[j] = Limit(p.g[j] / 65535.0f * 255.0f, kByteTop);
        p.b[j] = Limit(p.b[j] / 65535.0f * 255.0f, kByteTop);
    }
}

// ---- Packing ------------------------------------------------------------------------------------

// Nearest integer, ties to even (the default rounding mode). The value is limited to 0..255
// first, also where no stage before it limits (a look-up's output): a byte never wraps around.
inline uint8_t PackByte(float value) {
    return static_cast<uint8_t>(RoundToInt(Limit(value, kByteTop)));
}

// kBgr: B, G, R rather than R, G, B; kBytes 3, or 4 with a 0 after the three.
template <bool kBgr, unsigned kBytes>
inline void PackStage(const Planes& p, unsigned n, uint8_t* out) {
    for (unsigned k = 0; k < n; ++k, out += kBytes) {
        const uint8_t r = PackByte(p.r[k]), g = PackByte(p.g[k]), b = PackByte(p.b[k]);
        out[0] = kBgr ? b : r;
        out[1] = g;
        out[2] = kBgr ? r : b;
        if constexpr (kBytes == 4) out[3] = 0;
    }
}

}  // namespace image::stages

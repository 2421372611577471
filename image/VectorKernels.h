// The vectorised row kernel bodies, written once for two instruction sets: Sse41Kernels.cpp
// includes this header with QV_VECTOR_WIDTH 4 (SSE4.1), Avx2Kernels.cpp with 8 (AVX2), each file
// compiled for its own instructions. Every float operation is the one FloatStages.h performs, in
// the same order and with the same rounding (the conversions round by the current mode, ties to
// even, like RoundToInt; min and max take their operands in the order of Limit), so the bytes
// equal the scalar family's; KernelExactnessTest holds them to it.
//
// Everything here has internal linkage inside the including file's namespace, and nothing calls
// the inline functions of the shared headers: an out-of-line copy compiled for AVX2 must never be
// the one that the linker keeps for the baseline code. Pure functions, safe from any thread.
#pragma once

#if !defined(QV_VECTOR_WIDTH) || !defined(QV_VECTOR_NAMESPACE)
#error "define QV_VECTOR_WIDTH and QV_VECTOR_NAMESPACE before including VectorKernels.h"
#endif

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <type_traits>

#include "image/FloatStages.h"
#include "image/IntegerTables.h"
#include "image/KernelPlan.h"
#include "image/ScalarKernels.h"
#include "image/SharedTables.h"

namespace image::QV_VECTOR_NAMESPACE {
namespace {

using stages::Depth16;
using stages::Depth8;
using stages::kChunkGroups;
using stages::kChunkPixels;
using stages::kGroupPixels;
using stages::Planes;

// ---- Lanes --------------------------------------------------------------------------------------

#if QV_VECTOR_WIDTH == 8
using VF = __m256;
using VI = __m256i;
constexpr unsigned kLanes = 8;
inline VF Load(const float* p) {
    return _mm256_load_ps(p);
}
inline void Store(float* p, VF v) {
    _mm256_store_ps(p, v);
}
inline void StoreInt(int32_t* p, VI v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}
inline VF Set1(float x) {
    return _mm256_set1_ps(x);
}
inline VI Set1Int(int32_t x) {
    return _mm256_set1_epi32(x);
}
inline VF Add(VF a, VF b) {
    return _mm256_add_ps(a, b);
}
inline VF Sub(VF a, VF b) {
    return _mm256_sub_ps(a, b);
}
inline VF Mul(VF a, VF b) {
    return _mm256_mul_ps(a, b);
}
inline VF Div(VF a, VF b) {
    return _mm256_div_ps(a, b);
}
inline VF Min(VF a, VF b) {
    return _mm256_min_ps(a, b);
}
inline VF Max(VF a, VF b) {
    return _mm256_max_ps(a, b);
}
inline VI Round(VF v) {
    return _mm256_cvtps_epi32(v);
}
inline VF ToFloat(VI v) {
    return _mm256_cvtepi32_ps(v);
}
inline VI AddInt(VI a, VI b) {
    return _mm256_add_epi32(a, b);
}
inline VI MulInt(VI a, VI b) {
    return _mm256_mullo_epi32(a, b);
}
inline VF Gather(const float* base, VI index) {
    return _mm256_i32gather_ps(base, index, 4);
}
#else
using VF = __m128;
using VI = __m128i;
constexpr unsigned kLanes = 4;
inline VF Load(const float* p) {
    return _mm_load_ps(p);
}
inline void Store(float* p, VF v) {
    _mm_store_ps(p, v);
}
inline void StoreInt(int32_t* p, VI v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
inline VF Set1(float x) {
    return _mm_set1_ps(x);
}
inline VI Set1Int(int32_t x) {
    return _mm_set1_epi32(x);
}
inline VF Add(VF a, VF b) {
    return _mm_add_ps(a, b);
}
inline VF Sub(VF a, VF b) {
    return _mm_sub_ps(a, b);
}
inline VF Mul(VF a, VF b) {
    return _mm_mul_ps(a, b);
}
inline VF Div(VF a, VF b) {
    return _mm_div_ps(a, b);
}
inline VF Min(VF a, VF b) {
    return _mm_min_ps(a, b);
}
inline VF Max(VF a, VF b) {
    return _mm_max_ps(a, b);
}
inline VI Round(VF v) {
    return _mm_cvtps_epi32(v);
}
inline VF ToFloat(VI v) {
    return _mm_cvtepi32_ps(v);
}
inline VI AddInt(VI a, VI b) {
    return _mm_add_epi32(a, b);
}
inline VI MulInt(VI a, VI b) {
    return _mm_mullo_epi32(a, b);
}
inline VF Gather(const float* base, VI index) {
    return _mm_set_ps(base[_mm_extract_epi32(index, 3)], base[_mm_extract_epi32(index, 2)],
                      base[_mm_extract_epi32(index, 1)], base[_mm_extract_epi32(index, 0)]);
}
#endif

// Limit of FloatStages.h: max against 0 first, then min against the top, operands in its order.
inline VF Limit(VF v, float top) {
    return Min(Set1(top), Max(Set1(0.0f), v));
}
inline __m128 Limit4(__m128 v, float top) {
    return _mm_min_ps(_mm_set1_ps(top), _mm_max_ps(_mm_setzero_ps(), v));
}
// (b − a) × f + a
inline VF Lerp(VF a, VF b, VF f) {
    return Add(Mul(Sub(b, a), f), a);
}
inline __m128 Lerp4(__m128 a, __m128 b, __m128 f) {
    return _mm_add_ps(_mm_mul_ps(_mm_sub_ps(b, a), f), a);
}

// Lanes in use for n pixels: n rounded up to whole vectors. The input stages fill the lanes
// beyond n with zeros or other values in range, so that no later stage reads an undefined value
// or indexes with one.
inline unsigned LanesFor(unsigned n) {
    return (n + kLanes - 1) / kLanes * kLanes;
}

// ---- 4:2:2 input, one group of 4 pixels ---------------------------------------------------------

// The elements of a group as 32-bit integers: e0..e3, e4..e7, and the next group's e8..e11.
// `at` has 16 readable bytes (8-bit) or 32 (16-bit).
template <typename Element>
inline void GroupElements(const uint8_t* at, __m128i& lo, __m128i& hi, __m128i& next) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    if constexpr (sizeof(Element) == 1) {
        lo = _mm_cvtepu8_epi32(v);
        hi = _mm_cvtepu8_epi32(_mm_srli_si128(v, 4));
        next = _mm_cvtepu8_epi32(_mm_srli_si128(v, 8));
    } else {
        lo = _mm_cvtepu16_epi32(v);
        hi = _mm_cvtepu16_epi32(_mm_srli_si128(v, 8));
        next = _mm_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 16)));
    }
}

// Y of the 4 pixels, the chroma at each pixel (cur) and at the one after (next): pixel 0 and 2
// take their own sample twice, so that "average of cur and next" is the sample itself for them,
// exactly (a + a halves without loss, in floats and in integers).
struct Walk4 {
    __m128 y, cbCur, cbNext, crCur, crNext;
};

inline Walk4 Spread(__m128 lo, __m128 hi, __m128 next) {
    Walk4 w;
    w.y = _mm_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0));                // e0 e2 e4 e6
    w.cbCur = _mm_shuffle_ps(lo, hi, _MM_SHUFFLE(1, 1, 1, 1));            // e1 e1 e5 e5
    w.crCur = _mm_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 3, 3, 3));            // e3 e3 e7 e7
    const __m128 cb = _mm_shuffle_ps(hi, next, _MM_SHUFFLE(1, 1, 1, 1));  // e5 e5 e9 e9
    const __m128 cr = _mm_shuffle_ps(hi, next, _MM_SHUFFLE(3, 3, 3, 3));  // e7 e7 e11 e11
    w.cbNext = _mm_shuffle_ps(w.cbCur, cb, _MM_SHUFFLE(2, 0, 2, 0));      // e1 e5 e5 e9
    w.crNext = _mm_shuffle_ps(w.crCur, cr, _MM_SHUFFLE(2, 0, 2, 0));      // e3 e7 e7 e11
    return w;
}

// Calls group(k, at) for each group of a run of 4:2:2 groups, `at` pointing at bytes laid out as
// the group and its successor's first elements. The last group reads its successor's chroma
// from the row when the run does not end the row; at the row's end it takes its own second
// chroma again, as the walk of FloatStages.h does. Nothing beyond the run (plus that successor's
// first 4 elements) is read.
template <typename Element, typename Group>
inline void EachGroup(const uint8_t* source, unsigned groups, bool endsRow, Group&& group) {
    constexpr size_t kGroupBytes = 8 * sizeof(Element);
    if (groups == 0) return;
    for (unsigned g = 0; g + 1 < groups; ++g) group(g, source + g * kGroupBytes);
    alignas(16) uint8_t last[4 * kGroupBytes] = {};
    const uint8_t* at = source + size_t{groups - 1} * kGroupBytes;
    std::memcpy(last, at, kGroupBytes);
    std::memcpy(last + kGroupBytes, endsRow ? at + kGroupBytes / 2 : at + kGroupBytes,
                kGroupBytes / 2);
    group(groups - 1, last);
}

#if QV_VECTOR_WIDTH == 8
// 8 pixels (two groups) of 8-bit 4:2:2 as 32-bit integers: Y, the chroma at each pixel (cur),
// and at the odd pixels the chroma after it (next; the even lanes of next are not used, as the
// even pixels take their own sample alone). `at` has 20 readable bytes: the two groups and the
// successor's first 4 bytes. Byte shuffles, so that a step costs few shuffle instructions.
struct Walk8 {
    __m256i y, cbCur, cbNext, crCur, crNext;
};

inline Walk8 Spread8(const uint8_t* at) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 4));
    auto pick = [](__m128i bytes, char a, char b, char c, char d, char e, char f, char g, char h) {
        return _mm256_cvtepu8_epi32(_mm_shuffle_epi8(
            bytes, _mm_setr_epi8(a, b, c, d, e, f, g, h, -1, -1, -1, -1, -1, -1, -1, -1)));
    };
    Walk8 s;
    s.y = pick(v, 0, 2, 4, 6, 8, 10, 12, 14);
    s.cbCur = pick(v, 1, 1, 5, 5, 9, 9, 13, 13);
    s.crCur = pick(v, 3, 3, 7, 7, 11, 11, 15, 15);
    s.cbNext = pick(w, 1, 1, 5, 5, 9, 9, 13, 13);  // bytes 5, 9, 13, 17 at the odd lanes
    s.crNext = pick(w, 3, 3, 7, 7, 11, 11, 15, 15);
    return s;
}

// Calls pair(g, at) for groups g and g + 1 of a run of 8-bit 4:2:2 groups, `at` as Spread8 wants
// it. The last one or two groups are read from a copy that holds the successor's chroma (the
// row's next group, or at the row's end the last group's own second chroma); a lone last group
// leaves the copy's second group zero, which gives pixels in range that nobody keeps.
template <typename Pair>
inline void EachPair(const uint8_t* source, unsigned groups, bool endsRow, Pair&& pair) {
    if (groups == 0) return;
    unsigned g = 0;
    for (; g + 2 < groups; g += 2) pair(g, source + g * 8);
    const unsigned rest = groups - g;
    alignas(16) uint8_t last[32] = {};
    std::memcpy(last, source + g * 8, rest * 8);
    std::memcpy(last + rest * 8, endsRow ? last + rest * 8 - 4 : source + (g + rest) * 8, 4);
    pair(g, last);
}

// The chroma of 8 pixels: at the odd lanes (cur + next) halved, at the even ones cur.
inline __m256 FloatChroma(__m256i cur, __m256i next) {
    const __m256 c = _mm256_cvtepi32_ps(cur);
    const __m256 mean =
        _mm256_mul_ps(_mm256_add_ps(c, _mm256_cvtepi32_ps(next)), _mm256_set1_ps(0.5f));
    return _mm256_blend_ps(c, mean, 0xAA);
}
inline __m256i IntegerChroma(__m256i cur, __m256i next) {
    return _mm256_blend_epi32(cur, _mm256_srai_epi32(_mm256_add_epi32(cur, next), 1), 0xAA);
}
#endif

// ---- Float input stages -------------------------------------------------------------------------

// YuvMatrix of FloatStages.h.
template <typename Depth, typename M>
struct VYuvMatrix {
    static void Apply(__m128 y, __m128 cb, __m128 cr, __m128& r, __m128& g, __m128& b) {
        const __m128 cbp = _mm_sub_ps(cb, _mm_set1_ps(Depth::kChromaZero));
        const __m128 crp = _mm_sub_ps(cr, _mm_set1_ps(Depth::kChromaZero));
        r = Limit4(_mm_add_ps(y, _mm_mul_ps(_mm_set1_ps(M::kRCr), crp)), Depth::kTop);
        g = Limit4(_mm_sub_ps(y, _mm_add_ps(_mm_mul_ps(_mm_set1_ps(M::kGCr), crp),
                                            _mm_mul_ps(_mm_set1_ps(M::kGCb), cbp))),
                   Depth::kTop);
        b = Limit4(_mm_add_ps(y, _mm_mul_ps(_mm_set1_ps(M::kBCb), cbp)), Depth::kTop);
    }
#if QV_VECTOR_WIDTH == 8
    static void Apply(__m256 y, __m256 cb, __m256 cr, __m256& r, __m256& g, __m256& b) {
        const VF cbp = Sub(cb, Set1(Depth::kChromaZero));
        const VF crp = Sub(cr, Set1(Depth::kChromaZero));
        r = Limit(Add(y, Mul(Set1(M::kRCr), crp)), Depth::kTop);
        g = Limit(Sub(y, Add(Mul(Set1(M::kGCr), crp), Mul(Set1(M::kGCb), cbp))), Depth::kTop);
        b = Limit(Add(y, Mul(Set1(M::kBCb), cbp)), Depth::kTop);
    }
#endif
};

// Combined709 and Combined2020 of FloatStages.h: (a × cr + b × y + c) × 1/256 and the like.
template <bool k2020>
struct VCombined {
    static __m128 Term(float a, __m128 x, float b, __m128 y) {
        return _mm_add_ps(_mm_mul_ps(_mm_set1_ps(a), x), _mm_mul_ps(_mm_set1_ps(b), y));
    }
    static __m128 Out(__m128 v) {
        return Limit4(_mm_mul_ps(v, _mm_set1_ps(stages::kBy256)), stages::kByteTop);
    }
    static void Apply(__m128 y, __m128 cb, __m128 cr, __m128& r, __m128& g, __m128& b) {
        if constexpr (!k2020) {
            r = Out(_mm_sub_ps(Term(1.7997714f, cr, 1.0711297f, y), _mm_set1_ps(63362.258f)));
            g = Out(_mm_add_ps(_mm_add_ps(Term(-0.21405715f, cb, -0.5349714f, cr),
                                          _mm_mul_ps(_mm_set1_ps(1.0711297f), y)),
                               _mm_set1_ps(20156.82f)));
            b = Out(_mm_sub_ps(Term(2.1206858f, cb, 1.0711297f, y), _mm_set1_ps(73877.98f)));
        } else {
            r = Out(_mm_sub_ps(Term(1.6853f, cr, 1.0711f, y), _mm_set1_ps(59609.855f)));
            g = Out(_mm_add_ps(
                _mm_add_ps(Term(-0.1881f, cb, -0.653f, cr), _mm_mul_ps(_mm_set1_ps(1.0711f), y)),
                _mm_set1_ps(23171.738f)));
            b = Out(_mm_sub_ps(Term(2.1502f, cb, 1.0711f, y), _mm_set1_ps(74844.16f)));
        }
    }
};

inline void ZeroTail(Planes& p, unsigned n) {
    for (unsigned k = n; k < LanesFor(n); ++k) p.r[k] = p.g[k] = p.b[k] = 0.0f;
}

template <typename Depth, typename Convert>
void Input422By4(const uint8_t* source, unsigned groups, bool endsRow, Planes& p) {
    EachGroup<typename Depth::Element>(
        source, groups, endsRow, [&p](unsigned g, const uint8_t* at) {
            __m128i lo, hi, next;
            GroupElements<typename Depth::Element>(at, lo, hi, next);
            const Walk4 w = Spread(_mm_cvtepi32_ps(lo), _mm_cvtepi32_ps(hi), _mm_cvtepi32_ps(next));
            const __m128 half = _mm_set1_ps(0.5f);
            const __m128 cb = _mm_mul_ps(_mm_add_ps(w.cbCur, w.cbNext), half);
            const __m128 cr = _mm_mul_ps(_mm_add_ps(w.crCur, w.crNext), half);
            __m128 r, gr, b;
            Convert::Apply(w.y, cb, cr, r, gr, b);
            _mm_store_ps(p.r + g * 4, r);
            _mm_store_ps(p.g + g * 4, gr);
            _mm_store_ps(p.b + g * 4, b);
        });
    ZeroTail(p, groups * kGroupPixels);
}

template <typename Depth, typename Convert>
void Input422(const uint8_t* source, unsigned groups, bool endsRow, Planes& p) {
#if QV_VECTOR_WIDTH == 8
    if constexpr (sizeof(typename Depth::Element) == 1) {
        EachPair(source, groups, endsRow, [&p](unsigned g, const uint8_t* at) {
            const Walk8 w = Spread8(at);
            __m256 r, gr, b;
            Convert::Apply(_mm256_cvtepi32_ps(w.y), FloatChroma(w.cbCur, w.cbNext),
                           FloatChroma(w.crCur, w.crNext), r, gr, b);
            _mm256_store_ps(p.r + g * 4, r);
            _mm256_store_ps(p.g + g * 4, gr);
            _mm256_store_ps(p.b + g * 4, b);
        });
        return;  // an odd group count leaves in-range values in the last 4 lanes
    }
#endif
    Input422By4<Depth, Convert>(source, groups, endsRow, p);
}

// B, G, R, unused elements, 4 pixels at a time.
template <typename Depth>
void InputBgr(const uint8_t* source, unsigned groups, bool /*endsRow*/, Planes& p) {
    for (unsigned g = 0; g < groups; ++g) {
        __m128i px[4];
        if constexpr (sizeof(typename Depth::Element) == 1) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source + g * 16));
            px[0] = _mm_cvtepu8_epi32(v);
            px[1] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 4));
            px[2] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 8));
            px[3] = _mm_cvtepu8_epi32(_mm_srli_si128(v, 12));
        } else {
            const uint8_t* at = source + g * 32;
            const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
            const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 16));
            px[0] = _mm_cvtepu16_epi32(v0);
            px[1] = _mm_cvtepu16_epi32(_mm_srli_si128(v0, 8));
            px[2] = _mm_cvtepu16_epi32(v1);
            px[3] = _mm_cvtepu16_epi32(_mm_srli_si128(v1, 8));
        }
        __m128 b = _mm_cvtepi32_ps(px[0]), gr = _mm_cvtepi32_ps(px[1]);
        __m128 r = _mm_cvtepi32_ps(px[2]), x = _mm_cvtepi32_ps(px[3]);
        _MM_TRANSPOSE4_PS(b, gr, r, x);  // rows were pixels: now channels
        _mm_store_ps(p.b + g * 4, b);
        _mm_store_ps(p.g + g * 4, gr);
        _mm_store_ps(p.r + g * 4, r);
    }
    ZeroTail(p, groups * kGroupPixels);
}

// ---- Pre-scale, output stages -------------------------------------------------------------------

template <typename Depth, PreScale kScale>
void PreScaleStage(Planes& p, unsigned n) {
    constexpr float a = kScale == PreScale::Scale238 ? Depth::kScale238A : Depth::kScale219A;
    constexpr float b = kScale == PreScale::Scale238 ? Depth::kScale238B : Depth::kScale219B;
    for (unsigned k = 0; k < LanesFor(n); k += kLanes) {
        for (float* c : {p.r, p.g, p.b}) {
            Store(c + k, Limit(Add(Mul(Load(c + k), Set1(a)), Set1(b)), Depth::kTop));
        }
    }
}

template <typename Depth, bool k2020>
void RangeStage(Planes& p, unsigned n) {
    const VF o = Set1(Depth::kRangeOffset), f = Set1(Depth::kRangeFactor);
    auto c = [](float x) { return Set1(x); };
    for (unsigned j = 0; j < LanesFor(n); j += kLanes) {
        const VF r = Load(p.r + j), g = Load(p.g + j), b = Load(p.b + j);
        VF nr, ng, nb;
        if constexpr (!k2020) {
            nr = Sub(Sub(Mul(c(1.1276f), r), o), Add(Mul(c(0.0051f), b), Mul(c(0.0514f), g)));
            ng = Sub(Add(Mul(c(-0.0052f), b), Mul(c(1.0916f), g)), Add(Mul(c(0.0152f), r), o));
            nb = Sub(Sub(Mul(c(1.1377f), b), Mul(c(0.0512f), g)), Add(Mul(c(0.0153f), r), o));
        } else {
            nr = Sub(Sub(Mul(c(1.124f), r), o), Add(Mul(c(0.0043f), b), Mul(c(0.0486f), g)));
            ng = Sub(Sub(Mul(c(1.0942f), g), Mul(c(0.0043f), b)), Add(Mul(c(0.0188f), r), o));
            nb = Sub(Sub(Mul(c(1.1386f), b), Mul(c(0.0486f), g)), Add(Mul(c(0.0188f), r), o));
        }
        Store(p.r + j, Limit(Mul(nr, f), stages::kByteTop));
        Store(p.g + j, Limit(Mul(ng, f), stages::kByteTop));
        Store(p.b + j, Limit(Mul(nb, f), stages::kByteTop));
    }
}

void By256Stage(Planes& p, unsigned n) {
    for (unsigned j = 0; j < LanesFor(n); j += kLanes) {
        for (float* c : {p.r, p.g, p.b}) {
            Store(c + j, Limit(Mul(Load(c + j), Set1(stages::kBy256)), stages::kByteTop));
        }
    }
}

void Narrow16Stage(Planes& p, unsigned n) {
    for (unsigned j = 0; j < LanesFor(n); j += kLanes) {
        for (float* c : {p.r, p.g, p.b}) {
            Store(c + j,
                  Limit(Mul(Div(Load(c + j), Set1(65535.0f)), Set1(255.0f)), stages::kByteTop));
        }
    }
}

// ---- Look-ups -----------------------------------------------------------------------------------

// LutAxis of FloatStages.h for a vector of values: node offset (index × stride) and fraction.
inline void Axis(VF value, float scale, VI& index, VF& fraction) {
    const VF x = Min(Set1(stages::kLutCap), Mul(value, Set1(scale)));
    index = Round(Sub(x, Set1(0.5f)));
    fraction = Sub(x, ToFloat(index));
}

// The node offsets and fractions of a chunk, in arrays for the per-pixel walk.
struct LutPositions {
    alignas(32) int32_t base[kChunkPixels];
    alignas(32) float fr[kChunkPixels];
    alignas(32) float fg[kChunkPixels];
    alignas(32) float fb[kChunkPixels];
};

template <typename Depth>
void Positions(const Planes& p, unsigned lanes, LutPositions& at) {
    for (unsigned k = 0; k < lanes; k += kLanes) {
        VI ir, ig, ib;
        VF fr, fg, fb;
        Axis(Load(p.r + k), Depth::kLutScale, ir, fr);
        Axis(Load(p.g + k), Depth::kLutScale, ig, fg);
        Axis(Load(p.b + k), Depth::kLutScale, ib, fb);
        const VI base = AddInt(AddInt(MulInt(ir, Set1Int(stages::kLutStrideR)),
                                      MulInt(ig, Set1Int(stages::kLutStrideG))),
                               MulInt(ib, Set1Int(stages::kLutStrideB)));
        StoreInt(at.base + k, base);
        Store(at.fr + k, fr);
        Store(at.fg + k, fg);
        Store(at.fb + k, fb);
    }
}

// A node pair along R as two vectors [c0 c1 c2 ·]: the lower node and the upper one. The upper
// is read from one float before it and shifted, so that no read passes the upper node's end.
inline void NodePair(const float* node, __m128& lower, __m128& upper) {
    lower = _mm_loadu_ps(node);
    upper = _mm_castsi128_ps(
        _mm_srli_si128(_mm_castps_si128(_mm_loadu_ps(node + stages::kLutStrideR - 1)), 4));
}

// The 3D look-up one pixel at a time, the three channels side by side in one vector: the same
// operations per channel as Lut3DStage, in its order (R, then G, then B, then the factor).
template <typename Depth>
void Lut3DByPixel(Planes& p, unsigned n, const float* lut) {
    LutPositions at;
    const unsigned lanes = LanesFor(n);
    Positions<Depth>(p, lanes, at);
    constexpr unsigned G = stages::kLutStrideG, B = stages::kLutStrideB;
    for (unsigned k = 0; k < lanes; k += 4) {
        __m128 out[4];
        for (unsigned j = 0; j < 4; ++j) {
            const float* o = lut + at.base[k + j];
            const __m128 fr = _mm_set1_ps(at.fr[k + j]);
            __m128 a, b;
            NodePair(o, a, b);
            const __m128 c00 = Lerp4(a, b, fr);
            NodePair(o + G, a, b);
            const __m128 c10 = Lerp4(a, b, fr);
            NodePair(o + B, a, b);
            const __m128 c01 = Lerp4(a, b, fr);
            NodePair(o + B + G, a, b);
            const __m128 c11 = Lerp4(a, b, fr);
            const __m128 fg = _mm_set1_ps(at.fg[k + j]);
            const __m128 c0 = Lerp4(c00, c10, fg);
            const __m128 c1 = Lerp4(c01, c11, fg);
            out[j] = _mm_mul_ps(Lerp4(c0, c1, _mm_set1_ps(at.fb[k + j])),
                                _mm_set1_ps(Depth::kLutFactor));
        }
        _MM_TRANSPOSE4_PS(out[0], out[1], out[2], out[3]);
        _mm_store_ps(p.r + k, out[0]);
        _mm_store_ps(p.g + k, out[1]);
        _mm_store_ps(p.b + k, out[2]);
    }
}

#if QV_VECTOR_WIDTH == 8
// The look-up two pixels at a time, one in each 128-bit half (pixels k + j and k + j + 4, so that
// the halves transpose straight into 8 lanes a channel): the same per-channel operations as
// Lut3DByPixel with half the arithmetic instructions. Reading each node's 3 floats as they lie
// beats gathering them a channel at a time: 41 against 50 ms a 2160p frame on one core.
template <typename Depth>
void Lut3DByPair(Planes& p, unsigned n, const float* lut) {
    LutPositions at;
    const unsigned lanes = LanesFor(n);
    Positions<Depth>(p, lanes, at);
    constexpr unsigned R = stages::kLutStrideR, G = stages::kLutStrideG, B = stages::kLutStrideB;
    const __m256 factor = _mm256_set1_ps(Depth::kLutFactor);
    for (unsigned k = 0; k < lanes; k += 8) {
        const __m256 fr8 = _mm256_load_ps(at.fr + k), fg8 = _mm256_load_ps(at.fg + k);
        const __m256 fb8 = _mm256_load_ps(at.fb + k);
        __m256 out[4];
        for (unsigned j = 0; j < 4; ++j) {
            const float* lo = lut + at.base[k + j];
            const float* hi = lut + at.base[k + j + 4];
            const __m256i pick = _mm256_setr_epi32(j, j, j, j, j + 4, j + 4, j + 4, j + 4);
            const __m256 fr = _mm256_permutevar8x32_ps(fr8, pick);
            auto along = [&](unsigned offset) {  // Lerp along R of the node pair at `offset`
                const __m256 a = _mm256_loadu2_m128(hi + offset, lo + offset);
                const __m256 b = _mm256_castsi256_ps(
                    _mm256_srli_si256(_mm256_castps_si256(_mm256_loadu2_m128(hi + offset + R - 1,
                                                                             lo + offset + R - 1)),
                                      4));
                return Lerp(a, b, fr);
            };
            const __m256 c00 = along(0), c10 = along(G), c01 = along(B), c11 = along(B + G);
            const __m256 fg = _mm256_permutevar8x32_ps(fg8, pick);
            const __m256 c0 = Lerp(c00, c10, fg);
            const __m256 c1 = Lerp(c01, c11, fg);
            out[j] = Mul(Lerp(c0, c1, _mm256_permutevar8x32_ps(fb8, pick)), factor);
        }
        // The 4 × 4 transpose in each half: out[j] holds pixel j (low) and j + 4 (high).
        const __m256 t0 = _mm256_unpacklo_ps(out[0], out[1]),
                     t1 = _mm256_unpacklo_ps(out[2], out[3]);
        const __m256 t2 = _mm256_unpackhi_ps(out[0], out[1]),
                     t3 = _mm256_unpackhi_ps(out[2], out[3]);
        _mm256_store_ps(p.r + k, _mm256_shuffle_ps(t0, t1, _MM_SHUFFLE(1, 0, 1, 0)));
        _mm256_store_ps(p.g + k, _mm256_shuffle_ps(t0, t1, _MM_SHUFFLE(3, 2, 3, 2)));
        _mm256_store_ps(p.b + k, _mm256_shuffle_ps(t2, t3, _MM_SHUFFLE(1, 0, 1, 0)));
    }
}
#endif

// CurveStage of FloatStages.h.
template <typename Depth>
void CurveStage(Planes& p, unsigned n, const float* curve) {
    for (unsigned k = 0; k < LanesFor(n); k += kLanes) {
        int c = 0;
        for (float* channel : {p.r, p.g, p.b}) {
            const VF x = Load(channel + k);
            const VI i = Round(Sub(x, Set1(0.5f)));
            const VI at = MulInt(i, Set1Int(3));
            const float* column = curve + c++;
            const VF v = Lerp(Gather(column, at), Gather(column + 3, at), Sub(x, ToFloat(i)));
            Store(channel + k, Mul(v, Set1(Depth::kLutFactor)));
        }
    }
}

// ---- Packing ------------------------------------------------------------------------------------

// Four pixels' channels as bytes in 32-bit lanes, limited and rounded as PackByte does.
inline __m128i PackLanes4(const Planes& p, unsigned k, bool bgr) {
    const __m128i r = _mm_cvtps_epi32(Limit4(_mm_load_ps(p.r + k), stages::kByteTop));
    const __m128i g = _mm_cvtps_epi32(Limit4(_mm_load_ps(p.g + k), stages::kByteTop));
    const __m128i b = _mm_cvtps_epi32(Limit4(_mm_load_ps(p.b + k), stages::kByteTop));
    const __m128i first = bgr ? b : r, third = bgr ? r : b;
    return _mm_or_si128(_mm_or_si128(first, _mm_slli_epi32(g, 8)), _mm_slli_epi32(third, 16));
}

// Four 32-bit pixels [b0 b1 b2 0] written as 4 or 3 bytes each; nothing past the 4 pixels.
template <unsigned kBytes>
inline void StorePixels4(uint8_t* out, __m128i pixels) {
    if constexpr (kBytes == 4) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), pixels);
    } else {
        const __m128i packed = _mm_shuffle_epi8(
            pixels, _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), packed);
        const uint32_t tail = static_cast<uint32_t>(_mm_extract_epi32(packed, 2));
        std::memcpy(out + 8, &tail, 4);
    }
}

template <bool kBgr, unsigned kBytes>
void PackStage(const Planes& p, unsigned n, uint8_t* out) {
    for (unsigned k = 0; k < n; k += 4, out += 4 * kBytes) {
        StorePixels4<kBytes>(out, PackLanes4(p, k, kBgr));
    }
}

// ---- The float chain ----------------------------------------------------------------------------

struct VectorChain {
    ChainStages::Input input = nullptr;
    ChainStages::Stage preScale = nullptr;
    ChainStages::LookupStage lookup = nullptr;
    ChainStages::Stage output = nullptr;
    ChainStages::Pack pack = nullptr;
};

template <typename Depth>
VectorChain ChainOf(const KernelPlan& plan, bool yuv, ChainStages::LookupStage lut3d) {
    VectorChain s;
    if (yuv) {
        if (plan.kind == KernelKind::Combined16) {
            if constexpr (std::is_same_v<Depth, Depth16>) {
                s.input = plan.matrix == Matrix::Bt2020 ? Input422<Depth, VCombined<true>>
                                                        : Input422<Depth, VCombined<false>>;
            }
        } else if (plan.matrix == Matrix::Bt709) {
            s.input = Input422<Depth, VYuvMatrix<Depth, stages::Bt709>>;
        } else if (plan.matrix == Matrix::Bt2020) {
            s.input = Input422<Depth, VYuvMatrix<Depth, stages::Bt2020>>;
        }
    } else {
        s.input = InputBgr<Depth>;
    }
    switch (plan.order) {
        case PixelOrder::Rgb:
            s.pack = PackStage<false, 3>;
            break;
        case PixelOrder::Rgb0:
            s.pack = PackStage<false, 4>;
            break;
        case PixelOrder::Bgr0:
            s.pack = PackStage<true, 4>;
            break;
    }
    if (plan.kind == KernelKind::Combined16) return s;
    if (plan.preScale == PreScale::Scale238) s.preScale = PreScaleStage<Depth, PreScale::Scale238>;
    if (plan.preScale == PreScale::Scale219) s.preScale = PreScaleStage<Depth, PreScale::Scale219>;
    if (plan.lookup == Lookup::Lut3D) s.lookup = lut3d;
    if (plan.lookup == Lookup::Curve1D) s.lookup = CurveStage<Depth>;
    switch (plan.output) {
        case OutputStage::None:
            if constexpr (std::is_same_v<Depth, Depth16>) s.output = Narrow16Stage;
            break;
        case OutputStage::Range709:
            s.output = RangeStage<Depth, false>;
            break;
        case OutputStage::Range2020:
            s.output = RangeStage<Depth, true>;
            break;
        case OutputStage::By256:
            s.output = By256Stage;
            break;
    }
    return s;
}

// The 3D look-up of the family: two pixels a step in 8 lanes, one in 4.
template <typename Depth>
ChainStages::LookupStage Lut3DFor() {
#if QV_VECTOR_WIDTH == 8
    return Lut3DByPair<Depth>;
#else
    return Lut3DByPixel<Depth>;
#endif
}

VectorChain ChainFor(const KernelPlan& plan) {
    if (plan.kind != KernelKind::FloatChain && plan.kind != KernelKind::Combined16) return {};
    switch (plan.layout) {
        case InputLayout::Yuy2:
            return ChainOf<Depth8>(plan, true, Lut3DFor<Depth8>());
        case InputLayout::Yuv16:
            return ChainOf<Depth16>(plan, true, Lut3DFor<Depth16>());
        case InputLayout::Bgr4:
            return ChainOf<Depth8>(plan, false, Lut3DFor<Depth8>());
        case InputLayout::Bgr16:
            return ChainOf<Depth16>(plan, false, Lut3DFor<Depth16>());
        case InputLayout::None:
            break;
    }
    return {};
}

unsigned InBytes(InputLayout layout) {
    return layout == InputLayout::Yuy2 ? 2 : layout == InputLayout::Bgr16 ? 8 : 4;
}
unsigned OutBytes(PixelOrder order) {
    return order == PixelOrder::Rgb ? 3 : 4;
}

// The loop of the scalar FloatChain, with vector stages.
void FloatChain(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
                uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    const VectorChain s = ChainFor(plan);
    const float* data = plan.lookup == Lookup::Lut3D     ? inputs.lut
                        : plan.lookup == Lookup::Curve1D ? inputs.curve
                                                         : nullptr;
    if (s.input == nullptr || s.pack == nullptr || (s.lookup != nullptr && data == nullptr)) return;
    const uint32_t groups = lastGroup + 1u;
    const size_t groupIn = size_t{kGroupPixels} * InBytes(plan.layout);
    const size_t groupOut = size_t{kGroupPixels} * OutBytes(plan.order);
    const size_t outStride = (size_t{groups} * kGroupPixels + linePadding) * OutBytes(plan.order);
    Planes planes;
    for (uint32_t row = 0; row < rows; ++row) {
        const uint8_t* in = source + row * (groups * groupIn);
        uint8_t* out = destination + row * outStride;
        for (uint32_t g = 0; g < groups; g += kChunkGroups) {
            const unsigned count = groups - g < kChunkGroups ? groups - g : kChunkGroups;
            const unsigned n = count * kGroupPixels;
            s.input(in + g * groupIn, count, g + count == groups, planes);
            if (s.preScale) s.preScale(planes, n);
            if (s.lookup) s.lookup(planes, n, data);
            if (s.output) s.output(planes, n);
            s.pack(planes, n, out + g * groupOut);
        }
    }
}

// ---- 8-bit 4:2:2 through tables (gathers: AVX2 only) --------------------------------------------

#if QV_VECTOR_WIDTH == 8

// Y, Cb, Cr of 8 pixels as 32-bit integers, chroma averaged as the integer kernels do.
struct Yuv8 {
    __m256i y, cb, cr;
};

template <unsigned kBytes>
inline void StorePixels(uint8_t* out, __m256i pixels, unsigned count) {
    StorePixels4<kBytes>(out, _mm256_castsi256_si128(pixels));
    if (count == 8) StorePixels4<kBytes>(out + 4 * kBytes, _mm256_extracti128_si256(pixels, 1));
}

// Rows of 8-bit 4:2:2 (each row ends there), 8 pixels a step through `pixels`, which gives 32-bit
// pixels [byte0 byte1 byte2 0] from Y, Cb, Cr with chroma averaged as the integer walk does.
template <unsigned kBytes, typename Pixels>
void Yuy2Rows(const uint8_t* source, uint8_t* destination, uint32_t lastGroup, uint32_t rows,
              uint32_t linePadding, Pixels&& pixels) {
    const uint32_t groups = lastGroup + 1u;
    const size_t outStride = (size_t{groups} * kGroupPixels + linePadding) * kBytes;
    for (uint32_t row = 0; row < rows; ++row) {
        uint8_t* out = destination + row * outStride;
        EachPair(source + size_t{row} * groups * 8, groups, true,
                 [&](unsigned g, const uint8_t* at) {
                     const Walk8 w = Spread8(at);
                     const Yuv8 v{w.y, IntegerChroma(w.cbCur, w.cbNext),
                                  IntegerChroma(w.crCur, w.crNext)};
                     StorePixels<kBytes>(out + g * 4 * kBytes, pixels(v), groups - g > 1 ? 8 : 4);
                 });
    }
}

// clamp((luma + term + 5000) / 10000), the division cut towards zero. The sums stay below 2^24
// in magnitude, so they are exact as floats, and a quotient below 512 that is not whole lies at
// least 1/10000 from the next whole number, far more than its rounding error: the float quotient
// cut gives the integer one.
inline __m256i TableValue(__m256i luma, __m256i term) {
    const __m256i sum = _mm256_add_epi32(_mm256_add_epi32(luma, term), _mm256_set1_epi32(5000));
    const __m256i q =
        _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(sum), _mm256_set1_ps(10000.0f)));
    return _mm256_min_epi32(_mm256_max_epi32(q, _mm256_setzero_si256()), _mm256_set1_epi32(255));
}

// The boost: v × 1.086758 in double precision, cut, at most 255 (the boost table's rule).
inline __m256i Boost(__m256i v) {
    const __m256d f = _mm256_set1_pd(1.086758);
    const __m128i lo =
        _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_castsi256_si128(v)), f));
    const __m128i hi =
        _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_cvtepi32_pd(_mm256_extracti128_si256(v, 1)), f));
    return _mm256_min_epi32(_mm256_set_m128i(hi, lo), _mm256_set1_epi32(255));
}

template <bool kBgr, unsigned kBytes, bool kBoost>
void IntegerRows(const IntegerSet& set, const uint8_t* source, uint8_t* destination,
                 uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    Yuy2Rows<kBytes>(source, destination, lastGroup, rows, linePadding, [&set](const Yuv8& v) {
        const __m256i luma = _mm256_i32gather_epi32(set.luma, v.y, 4);
        const __m256i cbcr = _mm256_add_epi32(_mm256_slli_epi32(v.cb, 8), v.cr);
        __m256i r = TableValue(luma, _mm256_i32gather_epi32(set.redTerm, v.cr, 4));
        __m256i g = TableValue(luma, _mm256_i32gather_epi32(set.green, cbcr, 4));
        __m256i b = TableValue(luma, _mm256_i32gather_epi32(set.blueTerm, v.cb, 4));
        if constexpr (kBoost) r = Boost(r), g = Boost(g), b = Boost(b);
        const __m256i first = kBgr ? b : r, third = kBgr ? r : b;
        return _mm256_or_si256(_mm256_or_si256(first, _mm256_slli_epi32(g, 8)),
                               _mm256_slli_epi32(third, 16));
    });
}

// The table's three bytes as they stand. An entry is read as 4 bytes; the table's very last
// entry is read one byte early and shifted, so that no read passes the buffer's end.
template <unsigned kBytes>
void TableRows(const uint8_t* table, const uint8_t* source, uint8_t* destination,
               uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    const auto* words = reinterpret_cast<const int*>(table);
    Yuy2Rows<kBytes>(source, destination, lastGroup, rows, linePadding, [words](const Yuv8& v) {
        const __m256i offset =
            _mm256_add_epi32(_mm256_add_epi32(_mm256_mullo_epi32(v.y, _mm256_set1_epi32(0x30000)),
                                              _mm256_mullo_epi32(v.cb, _mm256_set1_epi32(768))),
                             _mm256_mullo_epi32(v.cr, _mm256_set1_epi32(3)));
        const __m256i safe = _mm256_min_epi32(offset, _mm256_set1_epi32(int32_t{kTableBytes} - 4));
        const __m256i shift = _mm256_slli_epi32(_mm256_sub_epi32(offset, safe), 3);
        const __m256i entry = _mm256_i32gather_epi32(words, safe, 1);
        return _mm256_and_si256(_mm256_srlv_epi32(entry, shift), _mm256_set1_epi32(0xFFFFFF));
    });
}

void TableBody(const KernelPlan& plan, const uint8_t* table, const uint8_t* source,
               uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    if (plan.order == PixelOrder::Rgb) {
        TableRows<3>(table, source, destination, lastGroup, rows, linePadding);
    } else {
        TableRows<4>(table, source, destination, lastGroup, rows, linePadding);
    }
}

template <bool kBoost>
void IntegerBody(const KernelPlan& plan, const IntegerSet& set, const uint8_t* source,
                 uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    switch (plan.order) {
        case PixelOrder::Rgb:
            return IntegerRows<false, 3, kBoost>(set, source, destination, lastGroup, rows,
                                                 linePadding);
        case PixelOrder::Rgb0:
            return IntegerRows<false, 4, kBoost>(set, source, destination, lastGroup, rows,
                                                 linePadding);
        case PixelOrder::Bgr0:
            return IntegerRows<true, 4, kBoost>(set, source, destination, lastGroup, rows,
                                                linePadding);
    }
}

// The integer kinds as ScalarKernels.cpp has them.
void IntegerPlain(const KernelPlan& plan, const KernelInputs&, const uint8_t* source,
                  uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    IntegerBody<false>(plan, Integer().Set(plan.matrix, false), source, destination, lastGroup,
                       rows, linePadding);
}

void IntegerExpanded(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
                     uint8_t* destination, uint32_t lastGroup, uint32_t rows,
                     uint32_t linePadding) {
    if (plan.table == TableId::Runtime && inputs.table != nullptr) {
        return TableBody(plan, inputs.table, source, destination, lastGroup, rows, linePadding);
    }
    IntegerBody<false>(plan, Integer().Set(plan.matrix, true), source, destination, lastGroup, rows,
                       linePadding);
}

void IntegerBoosted(const KernelPlan& plan, const KernelInputs&, const uint8_t* source,
                    uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    IntegerBody<true>(plan, Integer().Set(plan.matrix, true), source, destination, lastGroup, rows,
                      linePadding);
}

void FileTable(const KernelPlan& plan, const KernelInputs& inputs, const uint8_t* source,
               uint8_t* destination, uint32_t lastGroup, uint32_t rows, uint32_t linePadding) {
    if (inputs.table == nullptr) return;
    TableBody(plan, inputs.table, source, destination, lastGroup, rows, linePadding);
}

#endif

// The family's body for a plan, null for the plans it leaves to the scalar family.
scalar::Body FamilyBodyFor(const KernelPlan& plan) {
    switch (plan.kind) {
        case KernelKind::FloatChain:
        case KernelKind::Combined16:
            return ChainFor(plan).input != nullptr ? FloatChain : nullptr;
#if QV_VECTOR_WIDTH == 8
        case KernelKind::IntegerPlain:
            return IntegerPlain;
        case KernelKind::IntegerExpanded:
            return IntegerExpanded;
        case KernelKind::IntegerBoosted:
            return IntegerBoosted;
        case KernelKind::FileTable:
            return FileTable;
#endif
        default:
            break;
    }
    return nullptr;
}

}  // namespace
}  // namespace image::QV_VECTOR_NAMESPACE

#include "image/CMBXImageResizeUtility.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

constexpr size_t kAlignment = 64;
constexpr uint32_t kYUY2PixelBytes = 2;
constexpr uint32_t kBGR4PixelBytes = 4;
constexpr uint32_t kPairBytes = 4;  // Y0 Cb Y1 Cr
constexpr uint32_t kCbByte = 1;
constexpr uint32_t kCrByte = 3;
// Keeps an exact product on the lower neighbour, so that every even divisor picks the same pixel.
constexpr double kSamplingBias = 1e-10;

// width × height × bytes, or nothing when it does not fit in 32 bits.
bool ByteCount(uint32_t width, uint32_t height, uint32_t bytesPerPixel, uint32_t* count) {
    const uint64_t bytes = uint64_t{width} * height * bytesPerPixel;
    if (bytes > std::numeric_limits<uint32_t>::max()) return false;
    *count = static_cast<uint32_t>(bytes);
    return true;
}

inline uint32_t Load32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline void Store32(uint8_t* p, uint32_t v) {
    std::memcpy(p, &v, sizeof v);
}

// The indexed moves of one destination row, from `first` on: the reference for every variant.
void YUY2RowFromTables(const uint8_t* row, uint8_t* out, const uint32_t* luma,
                       const uint32_t* chroma, uint32_t first, uint32_t pairs) {
    for (uint32_t k = first; k < pairs; ++k) {
        uint8_t* d = out + size_t{k} * kPairBytes;
        d[0] = row[luma[2 * k]];
        d[1] = row[chroma[k] + kCbByte];
        d[2] = row[luma[2 * k + 1]];
        d[3] = row[chroma[k] + kCrByte];
    }
}

void BGR4RowFromTables(const uint8_t* row, uint8_t* out, const uint32_t* columns, uint32_t first,
                       uint32_t width) {
    for (uint32_t x = first; x < width; ++x)
        Store32(out + size_t{x} * kBGR4PixelBytes, Load32(row + columns[x]));
}

// The tables of the two divisors in use, as source bytes of destination pair (or pixel) k:
// `stride` × k plus a fixed part. YUY2 divisor 2: luma 4k, 4k + 2, chroma pair 2k; divisor 4:
// luma 8k + 1, 8k + 5, chroma pair 4k + 1. BGR4: pixel 2x, or 4x + 1.
struct YUY2Pattern {
    uint32_t stride, luma0, luma1, chroma;
};
constexpr YUY2Pattern kYUY2Half{8, 0, 4, 0};
constexpr YUY2Pattern kYUY2Quarter{16, 2, 10, 4};
constexpr uint32_t kBGR4HalfStride = 8, kBGR4HalfPhase = 0;
constexpr uint32_t kBGR4QuarterStride = 16, kBGR4QuarterPhase = 4;

bool Matches(const uint32_t* luma, const uint32_t* chroma, uint32_t pairs, const YUY2Pattern& p) {
    for (uint32_t k = 0; k < pairs; ++k) {
        const uint32_t base = k * p.stride;
        if (luma[2 * k] != base + p.luma0 || luma[2 * k + 1] != base + p.luma1 ||
            chroma[k] != base + p.chroma)
            return false;
    }
    return true;
}

bool Matches(const uint32_t* columns, uint32_t width, uint32_t stride, uint32_t phase) {
    for (uint32_t x = 0; x < width; ++x)
        if (columns[x] != x * stride + phase) return false;
    return true;
}

// How many destination units from 0 on can be moved in blocks of `block` whose loads (`stride`
// source bytes a unit) stay inside a source row of `step` bytes.
uint32_t BlockedUnits(uint32_t units, uint32_t block, uint32_t stride, uint32_t step) {
    const uint32_t inRow = step / stride;  // units whose whole source group lies in the row
    const uint32_t usable = units < inRow ? units : inRow;
    return usable - usable % block;
}

#if defined(__x86_64__)
// Divisor 2: 16 source bytes (two source pairs) give one pair: bytes 0 1 4 3 and 8 9 12 11.
__attribute__((target("ssse3"))) void YUY2RowHalf(const uint8_t* row, uint8_t* out,
                                                  uint32_t pairs) {
    const __m128i low = _mm_setr_epi8(0, 1, 4, 3, 8, 9, 12, 11, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i high = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, 0, 1, 4, 3, 8, 9, 12, 11);
    for (uint32_t k = 0; k < pairs; k += 4) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + 8 * k));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + 8 * k + 16));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * k),
                         _mm_or_si128(_mm_shuffle_epi8(a, low), _mm_shuffle_epi8(b, high)));
    }
}

// Divisor 4: each 16 source bytes give one pair: bytes 2 5 10 7.
__attribute__((target("ssse3"))) void YUY2RowQuarter(const uint8_t* row, uint8_t* out,
                                                     uint32_t pairs) {
    const __m128i m0 = _mm_setr_epi8(2, 5, 10, 7, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i m1 = _mm_setr_epi8(-1, -1, -1, -1, 2, 5, 10, 7, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i m2 = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, 2, 5, 10, 7, -1, -1, -1, -1);
    const __m128i m3 = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 2, 5, 10, 7);
    for (uint32_t k = 0; k < pairs; k += 4) {
        const auto* s = reinterpret_cast<const __m128i*>(row + 16 * k);
        const __m128i r = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(_mm_loadu_si128(s), m0),
                                                    _mm_shuffle_epi8(_mm_loadu_si128(s + 1), m1)),
                                       _mm_or_si128(_mm_shuffle_epi8(_mm_loadu_si128(s + 2), m2),
                                                    _mm_shuffle_epi8(_mm_loadu_si128(s + 3), m3)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * k), r);
    }
}

// Divisor 2: pixels 0 2 4 6 of eight.
void BGR4RowHalf(const uint8_t* row, uint8_t* out, uint32_t pixels) {
    for (uint32_t x = 0; x < pixels; x += 4) {
        const auto* s = reinterpret_cast<const float*>(row + 8 * x);
        const __m128 r = _mm_shuffle_ps(_mm_loadu_ps(s), _mm_loadu_ps(s + 4), 0x88);
        _mm_storeu_ps(reinterpret_cast<float*>(out + 4 * x), r);
    }
}

// Divisor 4: pixel 1 of each four.
void BGR4RowQuarter(const uint8_t* row, uint8_t* out, uint32_t pixels) {
    for (uint32_t x = 0; x < pixels; x += 4) {
        const auto* s = reinterpret_cast<const float*>(row + 16 * x);
        const __m128 t0 = _mm_shuffle_ps(_mm_loadu_ps(s), _mm_loadu_ps(s + 4), 0x55);
        const __m128 t1 = _mm_shuffle_ps(_mm_loadu_ps(s + 8), _mm_loadu_ps(s + 12), 0x55);
        _mm_storeu_ps(reinterpret_cast<float*>(out + 4 * x), _mm_shuffle_ps(t0, t1, 0x88));
    }
}

bool HasSSSE3() {
    static const bool has = __builtin_cpu_supports("ssse3");
    return has;
}
#endif

constexpr uint32_t kBlock = 4;  // destination units a vector step moves

}  // namespace

CMBXImageResizeUtility::Table::~Table() {
    std::free(entries);
}

bool CMBXImageResizeUtility::Table::Reserve(size_t count) {
    if (count <= capacity) return true;
    const size_t bytes = (count * sizeof(uint32_t) + kAlignment - 1) / kAlignment * kAlignment;
    auto* grown = static_cast<uint32_t*>(std::aligned_alloc(kAlignment, bytes));
    if (!grown) return false;
    std::free(entries);
    entries = grown;
    capacity = bytes / sizeof(uint32_t);
    return true;
}

CMBXImageResizeUtility::~CMBXImageResizeUtility() = default;

uint32_t CMBXImageResizeUtility::SourceIndex(uint32_t index, double scale, uint32_t limit) {
    const double at = std::trunc((static_cast<double>(index) + 0.5) * scale - kSamplingBias);
    // Only rounding at sizes near 2^32 could leave the range; keep it inside all the same.
    if (!(at > 0)) return 0;
    if (at >= static_cast<double>(limit)) return limit - 1;
    return static_cast<uint32_t>(at);
}

bool CMBXImageResizeUtility::BuildRows(Size sourceSize, Size destinationSize, uint32_t sourceStep) {
    if (!workBuffer.Reserve(destinationSize.height)) return false;
    const double scaleY =
        static_cast<double>(sourceSize.height) / static_cast<double>(destinationSize.height);
    for (uint32_t y = 0; y < destinationSize.height; ++y)
        workBuffer.entries[y] = SourceIndex(y, scaleY, sourceSize.height) * sourceStep;
    return true;
}

int32_t CMBXImageResizeUtility::ResizeYUY2(const uint8_t* source, uint8_t* destination,
                                           uint32_t* length, Size sourceSize,
                                           Size destinationSize) {
    if (!source || !destination || !length) return kNullPointer;
    uint32_t bytes = 0, sourceBytes = 0;
    if (!ByteCount(destinationSize.width, destinationSize.height, kYUY2PixelBytes, &bytes))
        return kNoMemory;
    if (!sourceSize.width || !sourceSize.height || !destinationSize.width ||
        !destinationSize.height)
        return kEmptySize;
    if (sourceSize.width < 2 || destinationSize.width < 2) return kTooSmall;
    if (sourceSize.width % 2 || destinationSize.width % 2) return kOddWidth;
    // Every offset below is inside the source, whose byte count fits in 32 bits.
    if (!ByteCount(sourceSize.width, sourceSize.height, kYUY2PixelBytes, &sourceBytes))
        return kNoMemory;

    const uint32_t width = destinationSize.width, pairs = width / 2;
    const uint32_t sourceStep = sourceSize.width * kYUY2PixelBytes;
    if (!yuy2Spec.Reserve(size_t{width} + pairs)) return kNoMemory;
    uint32_t* luma = yuy2Spec.entries;
    uint32_t* chroma = yuy2Spec.entries + width;
    const double scaleX =
        static_cast<double>(sourceSize.width) / static_cast<double>(destinationSize.width);
    for (uint32_t x = 0; x < width; ++x)
        luma[x] = SourceIndex(x, scaleX, sourceSize.width) * kYUY2PixelBytes;
    // Chroma is sampled by pairs with the same scale, so that a pair stays whole.
    for (uint32_t k = 0; k < pairs; ++k)
        chroma[k] = SourceIndex(k, scaleX, sourceSize.width / 2) * kPairBytes;
    if (!BuildRows(sourceSize, destinationSize, sourceStep)) return kNoMemory;

    uint32_t blocked = 0;
    void (*rowKernel)(const uint8_t*, uint8_t*, uint32_t) = nullptr;
#if defined(__x86_64__)
    if (HasSSSE3()) {
        for (const auto& [pattern, kernel] :
             {std::pair{kYUY2Half, &YUY2RowHalf}, std::pair{kYUY2Quarter, &YUY2RowQuarter}}) {
            if (Matches(luma, chroma, pairs, pattern)) {
                rowKernel = kernel;
                blocked = BlockedUnits(pairs, kBlock, pattern.stride, sourceStep);
                break;
            }
        }
    }
#endif
    const size_t destinationStep = size_t{width} * kYUY2PixelBytes;
    for (uint32_t y = 0; y < destinationSize.height; ++y) {
        const uint8_t* row = source + workBuffer.entries[y];
        uint8_t* out = destination + y * destinationStep;
        if (rowKernel && blocked) rowKernel(row, out, blocked);
        YUY2RowFromTables(row, out, luma, chroma, rowKernel ? blocked : 0, pairs);
    }
    *length = bytes;
    return kDone;
}

int32_t CMBXImageResizeUtility::ResizeBGR4(const uint8_t* source, uint8_t* destination,
                                           uint32_t* length, Size sourceSize,
                                           Size destinationSize) {
    if (!source || !destination || !length) return kNullPointer;
    uint32_t bytes = 0, sourceBytes = 0;
    if (!ByteCount(destinationSize.width, destinationSize.height, kBGR4PixelBytes, &bytes))
        return kNoMemory;
    if (!sourceSize.width || !sourceSize.height || !destinationSize.width ||
        !destinationSize.height)
        return kEmptySize;
    if (!ByteCount(sourceSize.width, sourceSize.height, kBGR4PixelBytes, &sourceBytes))
        return kNoMemory;

    const uint32_t width = destinationSize.width;
    const uint32_t sourceStep = sourceSize.width * kBGR4PixelBytes;
    if (!bgr4Spec.Reserve(width)) return kNoMemory;
    uint32_t* columns = bgr4Spec.entries;
    const double scaleX =
        static_cast<double>(sourceSize.width) / static_cast<double>(destinationSize.width);
    for (uint32_t x = 0; x < width; ++x)
        columns[x] = SourceIndex(x, scaleX, sourceSize.width) * kBGR4PixelBytes;
    if (!BuildRows(sourceSize, destinationSize, sourceStep)) return kNoMemory;

    uint32_t blocked = 0;
    void (*rowKernel)(const uint8_t*, uint8_t*, uint32_t) = nullptr;
#if defined(__x86_64__)
    if (Matches(columns, width, kBGR4HalfStride, kBGR4HalfPhase)) {
        rowKernel = &BGR4RowHalf;
        blocked = BlockedUnits(width, kBlock, kBGR4HalfStride, sourceStep);
    } else if (Matches(columns, width, kBGR4QuarterStride, kBGR4QuarterPhase)) {
        rowKernel = &BGR4RowQuarter;
        blocked = BlockedUnits(width, kBlock, kBGR4QuarterStride, sourceStep);
    }
#endif
    const size_t destinationStep = size_t{width} * kBGR4PixelBytes;
    for (uint32_t y = 0; y < destinationSize.height; ++y) {
        const uint8_t* row = source + workBuffer.entries[y];
        uint8_t* out = destination + y * destinationStep;
        if (rowKernel && blocked) rowKernel(row, out, blocked);
        BGR4RowFromTables(row, out, columns, rowKernel ? blocked : 0, width);
    }
    *length = bytes;
    return kDone;
}

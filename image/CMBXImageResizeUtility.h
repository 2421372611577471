// CMBXImageResizeUtility: shrinks one decoded picture by nearest-neighbour sampling, for the
// reduced display of the movie resize filter. One operation for packed 4:2:2 "YUY2" pictures
// (Y0 Cb Y1 Cr per pixel pair; luma sampled by pixels, chroma by whole pairs) and one for 4-byte
// "BGR4" pictures (moved as a unit). Rows lie back to back, without padding.
//
// Sampling, with scale = source / destination as doubles:
//   source index of destination index i = trunc((i + 0.5) × scale − 1e-10)
// so an exact integer falls to the lower neighbour: divisor 2 takes rows 2y and pixels 2x,
// divisor 4 rows 4y + 1 and pixels 4x + 1. Each call builds offset tables (per destination row,
// column and chroma pair) and then runs a loop of plain indexed moves over them. Column tables
// of the two divisors in use are recognised and run through unrolled vector copies (SSE; SSSE3
// for "YUY2", looked up at run time) with the same result; row ends that a whole vector step
// would read past go through the table loop. The result is written straight to the destination.
//
// Status (i32): kDone (length = destination bytes), kEmptySize (a width or height is 0),
// kOddWidth ("YUY2": a source or destination width is odd; nothing moves), kNoMemory (a table
// could not be had, or a byte count of either picture does not fit in 32 bits), kNullPointer,
// kTooSmall ("YUY2": a width below 2 or a height below 1; "BGR4": below 1). Checks run in that
// order: pointers, destination byte count, sizes (empty, too small, odd), then the source byte
// count and the tables.
// Destination and length are untouched unless the status is kDone. The caller guarantees that
// the source holds source width × height pixels and the destination room for the result.
// Buffers: 64-byte aligned, made at the first call and kept; a later call that needs more grows
// them. Threads: not thread-safe (the buffers belong to the object); two objects can work at
// once. Ownership: usually held through CUSharedPtr (CUCreate).
#pragma once

#include <cstdint>

#include "foundation/CUObject.h"

class CMBXImageResizeUtility : public CUObject {
public:
    struct Size {
        uint32_t width = 0;
        uint32_t height = 0;
    };

    static constexpr int32_t kDone = 0;
    static constexpr int32_t kEmptySize = 1;
    static constexpr int32_t kOddWidth = 48;
    static constexpr int32_t kNoMemory = -4;
    static constexpr int32_t kNullPointer = -5;
    static constexpr int32_t kTooSmall = -6;

    CMBXImageResizeUtility() = default;
    ~CMBXImageResizeUtility() override;
    CMBXImageResizeUtility(const CMBXImageResizeUtility&) = delete;
    CMBXImageResizeUtility& operator=(const CMBXImageResizeUtility&) = delete;

    int32_t ResizeYUY2(const uint8_t* source, uint8_t* destination, uint32_t* length,
                       Size sourceSize, Size destinationSize);
    int32_t ResizeBGR4(const uint8_t* source, uint8_t* destination, uint32_t* length,
                       Size sourceSize, Size destinationSize);

    // The source index that destination index `index` samples at `scale`, below `limit`.
    static uint32_t SourceIndex(uint32_t index, double scale, uint32_t limit);

private:
    // A 64-byte aligned table of u32 offsets that only grows.
    struct Table {
        uint32_t* entries = nullptr;
        size_t capacity = 0;  // in entries
        bool Reserve(size_t count);
        ~Table();
    };

    // Row offsets of the running call (shared by both operations), then the column tables.
    bool BuildRows(Size sourceSize, Size destinationSize, uint32_t sourceStep);

    Table workBuffer;  // per destination row: byte offset of its source row
    Table yuy2Spec;    // luma byte per destination column, then chroma pair byte per pair
    Table bgr4Spec;    // source byte per destination column
};

// CUMemoryStream: a read-only stream over its own copy of a block of bytes.
//
// Reads are bounded by the range exactly as for a file; `position` never moves, so origin 1
// counts from 0. Write and Seek throw CUErrorNotPermitted (5) as the base class does.
// Threads: Read holds the stream's lock. Ownership: the stream frees the bytes it owns.
// Failures: a stream whose bytes could not be had (null input, no memory) reads nothing and
// is not readable; CreateFromStream gives null instead.
#pragma once

#include <cstdint>

#include "foundation/CUStream.h"
#include "foundation/CUStringWin.h"

class CUMemoryStream : public CUStream {
public:
    // Copies `byteCount` bytes. Null `bytes` (or no memory for the copy) give a stream without
    // data.
    CUMemoryStream(const void* bytes, uint64_t byteCount);
    CUMemoryStream(const CUMemoryStream&) = delete;
    CUMemoryStream& operator=(const CUMemoryStream&) = delete;
    ~CUMemoryStream() override;

    // A new stream holding `range.length` bytes read from `source` at absolute offset
    // `range.location`. Null for a null source, an empty or negative range, a range that runs
    // past what the source can deliver, no memory, or a short read.
    static CUSharedPtr<CUMemoryStream> CreateFromStream(const CUSharedPtr<CUStream>& source,
                                                        CURange range);

    bool IsReadable() const override;
    uint64_t Read(void* buffer, uint64_t count, int64_t offset, uint32_t origin) override;

    // Set at construction, constant afterwards.
    uint8_t* buffer = nullptr;
    bool ownsBuffer = false;

private:
    CUMemoryStream() = default;
    void Adopt(uint8_t* bytes, uint64_t byteCount);
};

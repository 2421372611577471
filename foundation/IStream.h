// IStream: the small pull interface through which CUStream::CopyFromIStream imports bytes from a
// source that is not a CUStream (a host's stream, or a CUStream behind CUIStreamAdapter).
//
// Result codes: CU_S_OK (0) for success, CU_S_FALSE (1) for a read that delivered fewer bytes
// than asked (end of data), negative values for failure. Positions are 64-bit; origins are those
// of CUStreamOrigin (0 beginning, 1 current, 2 end). Implementations say what threads they allow.
#pragma once

#include <cstdint>

inline constexpr int32_t CU_S_OK = 0;
inline constexpr int32_t CU_S_FALSE = 1;

class IStream {
public:
    virtual ~IStream() = default;

    // Reads up to `count` bytes at the current position and advances it; `*read` (may be null)
    // receives the bytes delivered.
    virtual int32_t Read(void* buffer, uint32_t count, uint32_t* read) = 0;
    // Moves the current position; `*newPosition` (may be null) receives it.
    virtual int32_t Seek(int64_t offset, uint32_t origin, uint64_t* newPosition) = 0;
};

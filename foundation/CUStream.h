// CUStream: the root of all streams, addressed by explicit 64-bit positions so that readers on
// several threads can share one stream.
//
// Threads: every operation of every stream runs under `lock`, a recursive lock made by the
// constructor. `position` is shared, so concurrent readers pass absolute offsets (origin 0); a
// caller that needs Seek and Read together holds `lock` through a CUAutoLock around both.
// Failures: this base class reads, writes and seeks nothing: Read, Write and Seek throw
// CUErrorNotPermitted (5, as uint32_t). An override answers with a count or a position instead
// and does not throw.
#pragma once

#include <cstdint>

#include "foundation/CULockAbstract.h"
#include "foundation/CUObject.h"

class IStream;

// What a position is counted from (passed as uint32_t, so that any value can arrive). Any other
// value reads nothing and seeks to 0.
enum CUStreamOrigin : uint32_t {
    CUStreamOriginBegin = 0,    // the beginning of the data
    CUStreamOriginCurrent = 1,  // `position`
    CUStreamOriginEnd = 2,      // `size`
};

class CUStream : public CUObject {
public:
    CUStream();
    ~CUStream() override;

    virtual bool IsReadable() const;
    virtual bool IsWritable() const;
    virtual bool IsSeekable() const;
    // Bytes delivered; never anything outside rangeStart .. rangeStart + rangeLength.
    virtual uint64_t Read(void* buffer, uint64_t count, int64_t offset, uint32_t origin);
    // Bytes written.
    virtual uint64_t Write(const void* buffer, uint64_t count, int64_t offset, uint32_t origin);
    // The new position.
    virtual uint64_t Seek(int64_t offset, uint32_t origin);
    // Seeks this stream to (offset, origin) and appends everything `source` delivers from its
    // current position, whose place is restored afterwards. Gives the bytes copied; 0 for a null
    // source, a stream that cannot be written, or no memory for the transfer buffer.
    virtual uint64_t CopyFromIStream(IStream* source, int64_t offset, uint32_t origin);
    // Sets the four numbers to 0 and drops `lock`; later operations run unlocked. Must not race
    // with any other operation on this stream.
    virtual CUStream& Reset();

    // Guarded by `lock`.
    uint64_t rangeStart = 0;   // first readable byte
    uint64_t rangeLength = 0;  // readable length
    uint64_t size = 0;         // total size of the data
    uint64_t position = 0;     // the base of origin 1
    CUSharedPtr<CULockAbstract> lock;

protected:
    // The absolute position of (offset, origin). False for an unknown origin and for a result
    // before 0 or beyond 2^64 - 1: such a position addresses nothing.
    bool ResolvePosition(int64_t offset, uint32_t origin, uint64_t* absolute) const;
    // How many of `count` bytes at `absolute` lie inside the readable range.
    uint64_t CountInRange(uint64_t absolute, uint64_t count) const;
};

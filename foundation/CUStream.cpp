#include "foundation/CUStream.h"

#include <memory>
#include <new>

#include "foundation/CUAutoLock.h"
#include "foundation/CUErrorContents.h"
#include "foundation/CURecursiveLock.h"
#include "foundation/IStream.h"

namespace {
constexpr uint32_t kTransferChunk = 0x400000;
}

CUStream::CUStream() : lock(CUCreate<CURecursiveLock>()) {}

CUStream::~CUStream() = default;

bool CUStream::IsReadable() const {
    return false;
}
bool CUStream::IsWritable() const {
    return false;
}
bool CUStream::IsSeekable() const {
    return false;
}

uint64_t CUStream::Read(void*, uint64_t, int64_t, uint32_t) {
    throw static_cast<uint32_t>(CUErrorNotPermitted);
}

uint64_t CUStream::Write(const void*, uint64_t, int64_t, uint32_t) {
    throw static_cast<uint32_t>(CUErrorNotPermitted);
}

uint64_t CUStream::Seek(int64_t, uint32_t) {
    throw static_cast<uint32_t>(CUErrorNotPermitted);
}

uint64_t CUStream::CopyFromIStream(IStream* source, int64_t offset, uint32_t origin) {
    CUAutoLock guard(lock);
    if (!source || !IsWritable()) return 0;
    std::unique_ptr<uint8_t[]> transfer(new (std::nothrow) uint8_t[kTransferChunk]);
    if (!transfer) return 0;

    uint64_t sourceStart = 0;
    const bool sourceKnown = source->Seek(0, CUStreamOriginCurrent, &sourceStart) >= 0 &&
                             sourceStart <= static_cast<uint64_t>(INT64_MAX);
    // The source goes back to where it stood however this function is left.
    struct RestoreSource {
        IStream* source;
        bool known;
        uint64_t at;
        ~RestoreSource() {
            if (known) source->Seek(static_cast<int64_t>(at), CUStreamOriginBegin, nullptr);
        }
    } restore{source, sourceKnown, sourceStart};

    Seek(offset, origin);
    uint64_t total = 0;
    for (;;) {
        uint32_t got = 0;
        if (source->Read(transfer.get(), kTransferChunk, &got) < 0 || got == 0) break;
        const uint64_t written = Write(transfer.get(), got, 0, CUStreamOriginCurrent);
        total += written;
        if (written < got) break;
    }
    return total;
}

CUStream& CUStream::Reset() {
    CUAutoLock guard(lock);  // keeps the lock alive until it is released below
    rangeStart = rangeLength = size = position = 0;
    lock = nullptr;
    return *this;
}

bool CUStream::ResolvePosition(int64_t offset, uint32_t origin, uint64_t* absolute) const {
    uint64_t base = 0;
    switch (origin) {
        case CUStreamOriginBegin:
            base = 0;
            break;
        case CUStreamOriginCurrent:
            base = position;
            break;
        case CUStreamOriginEnd:
            base = size;
            break;
        default:
            return false;
    }
    if (offset >= 0) {
        return !__builtin_add_overflow(base, static_cast<uint64_t>(offset), absolute);
    }
    // The magnitude of a negative offset, INT64_MIN included, without signed overflow.
    const uint64_t back = 0 - static_cast<uint64_t>(offset);
    if (back > base) return false;
    *absolute = base - back;
    return true;
}

uint64_t CUStream::CountInRange(uint64_t absolute, uint64_t count) const {
    // A subclass keeps the range inside size; should it not, the end saturates instead of wrapping.
    uint64_t end = 0;
    if (__builtin_add_overflow(rangeStart, rangeLength, &end)) end = UINT64_MAX;
    if (absolute < rangeStart || absolute >= end) return 0;
    return count < end - absolute ? count : end - absolute;
}

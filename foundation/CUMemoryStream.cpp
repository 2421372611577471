#include "foundation/CUMemoryStream.h"

#include <cstring>
#include <memory>
#include <new>

#include "foundation/CUAutoLock.h"
#include "foundation/CUErrorContents.h"

CUMemoryStream::CUMemoryStream(const void* bytes, uint64_t byteCount) {
    if (!bytes) return;
    std::unique_ptr<uint8_t[]> copy(new (std::nothrow) uint8_t[byteCount ? byteCount : 1]);
    if (!copy) return;
    if (byteCount) std::memcpy(copy.get(), bytes, byteCount);
    Adopt(copy.release(), byteCount);
}

CUMemoryStream::~CUMemoryStream() {
    if (ownsBuffer) delete[] buffer;
}

void CUMemoryStream::Adopt(uint8_t* bytes, uint64_t byteCount) {
    buffer = bytes;
    ownsBuffer = true;
    size = byteCount;
    rangeStart = 0;
    rangeLength = byteCount;
}

CUSharedPtr<CUMemoryStream> CUMemoryStream::CreateFromStream(const CUSharedPtr<CUStream>& source,
                                                             CURange range) {
    try {
        if (!source || range.location < 0 || range.length <= 0) throw CUErrorInvalid;
        const auto offset = static_cast<uint64_t>(range.location);
        const auto length = static_cast<uint64_t>(range.length);
        {
            // A request the source's range cannot satisfy would end in a short read anyway;
            // refusing it first keeps a hostile length from becoming an allocation.
            CUAutoLock guard(source->lock);
            uint64_t sourceEnd = 0;
            uint64_t wantedEnd = 0;
            if (__builtin_add_overflow(source->rangeStart, source->rangeLength, &sourceEnd) ||
                __builtin_add_overflow(offset, length, &wantedEnd) || wantedEnd > sourceEnd) {
                throw CUErrorInvalid;
            }
        }
        std::unique_ptr<uint8_t[]> bytes(new (std::nothrow) uint8_t[length]);
        if (!bytes) throw CUErrorInvalid;
        const uint64_t got = source->Read(bytes.get(), length, range.location, CUStreamOriginBegin);
        if (got < length) throw CUErrorInvalid;

        CUSharedPtr<CUMemoryStream> stream(new (std::nothrow) CUMemoryStream());
        if (!stream || !stream->lock) throw CUErrorInvalid;
        stream->Adopt(bytes.release(), got);
        return stream;
    } catch (_CUErrorContents) {
        return nullptr;
    } catch (uint32_t) {
        return nullptr;  // a source that cannot read at all throws its code
    }
}

bool CUMemoryStream::IsReadable() const {
    return buffer != nullptr;
}

uint64_t CUMemoryStream::Read(void* out, uint64_t count, int64_t offset, uint32_t origin) {
    CUAutoLock guard(lock.Get());
    if (!out || !buffer) return 0;
    uint64_t at = 0;
    if (count == 0 || !ResolvePosition(offset, origin, &at)) return 0;
    // The range members are public; the bytes held bound the copy whatever they say.
    if (at >= size) return 0;
    uint64_t wanted = CountInRange(at, count);
    if (wanted > size - at) wanted = size - at;
    if (wanted) std::memcpy(out, buffer + at, wanted);
    return wanted;
}

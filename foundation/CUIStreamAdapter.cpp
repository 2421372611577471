#include "foundation/CUIStreamAdapter.h"

#include "foundation/CUAutoLock.h"
#include "foundation/CUErrorContents.h"

int32_t CUIStreamAdapter::Read(void* buffer, uint32_t count, uint32_t* read) {
    if (read) *read = 0;
    if (!buffer && count) return static_cast<int32_t>(CU_E_INVALIDARG);
    uint64_t got = 0;
    if (stream && count && cursor <= static_cast<uint64_t>(INT64_MAX)) {
        try {
            got = stream->Read(buffer, count, static_cast<int64_t>(cursor), CUStreamOriginBegin);
        } catch (uint32_t) {
            return static_cast<int32_t>(CU_E_FAIL);  // a stream that cannot read at all
        }
    }
    if (got > count) got = count;  // a stream never delivers more; the check keeps the cast exact
    cursor += got;
    if (read) *read = static_cast<uint32_t>(got);
    return got == count ? CU_S_OK : CU_S_FALSE;
}

int32_t CUIStreamAdapter::Seek(int64_t offset, uint32_t origin, uint64_t* newPosition) {
    int64_t base = 0;
    switch (origin) {
        case CUStreamOriginBegin:
            break;
        case CUStreamOriginCurrent:
            base = static_cast<int64_t>(cursor);  // the cursor never exceeds INT64_MAX
            break;
        case CUStreamOriginEnd: {
            if (!stream) return static_cast<int32_t>(CU_E_INVALIDARG);
            CUAutoLock guard(stream->lock);
            if (stream->size > static_cast<uint64_t>(INT64_MAX)) {
                return static_cast<int32_t>(CU_E_INVALIDARG);
            }
            base = static_cast<int64_t>(stream->size);
            break;
        }
        default:
            return static_cast<int32_t>(CU_E_INVALIDARG);
    }
    int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0) {
        return static_cast<int32_t>(CU_E_INVALIDARG);
    }
    cursor = static_cast<uint64_t>(target);
    if (newPosition) *newPosition = cursor;
    return CU_S_OK;
}

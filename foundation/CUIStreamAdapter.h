// CUIStreamAdapter: shows a CUStream through IStream, with a cursor of its own.
//
// Reads go to the stream at absolute offsets (origin 0), so the stream's `position` is neither
// used nor changed and the adapter can read a stream that cannot seek, such as CUMemoryStream.
// Origin 2 counts from the stream's `size`.
// Ownership: keeps the stream alive. Threads: the cursor is unguarded; one thread at a time.
// Results: CU_S_OK for a full read, CU_S_FALSE for a short one (end of data or a failed read),
// CU_E_INVALIDARG for a seek before 0 or past 2^63 - 1 or to an unknown origin.
#pragma once

#include <cstdint>
#include <utility>

#include "foundation/CUStream.h"
#include "foundation/IStream.h"

class CUIStreamAdapter final : public IStream {
public:
    explicit CUIStreamAdapter(CUSharedPtr<CUStream> stream) : stream(std::move(stream)) {}

    int32_t Read(void* buffer, uint32_t count, uint32_t* read) override;
    int32_t Seek(int64_t offset, uint32_t origin, uint64_t* newPosition) override;

    uint64_t Cursor() const { return cursor; }

private:
    CUSharedPtr<CUStream> stream;
    uint64_t cursor = 0;
};

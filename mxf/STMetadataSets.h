// STMetadataSets: a structural metadata set that knows which tag holds which type, and hands out
// typed values: MDValue for numbers, dates and rationals; MxfUUID, UMID, CUStringWin, byte and
// int vectors, arrays of identifiers or byte vectors, the RGBA pixel layout for the rest.
//
// Values are decoded on each call and not kept. A tag that is absent, not in the table, or of a
// length its type does not allow gives null, never a failure.
// Threads: GetValue holds the set's lock while it reads. Failures: as LocalSets; GetValue lets
// "MDValue Init Error" through when a number's bytes cannot be copied.
#pragma once

#include <cstdint>

#include "mxf/LocalSets.h"

class STMetadataSets : public LocalSets {
public:
    STMetadataSets() = default;
    explicit STMetadataSets(const KLVPacket& packet) : LocalSets(packet) {}

    CUSharedPtr<CUObject> GetValue(uint32_t tag);

    // GetValue narrowed by a checked cast: null also when the value is of another class.
    template <class T>
    CUSharedPtr<T> GetValueAs(uint32_t tag) {
        return CUSharedPtr<T>(GetValue(tag));
    }
};

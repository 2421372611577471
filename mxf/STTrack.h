// STTrack: one track of the material package as the clip wrapper needs it: identifiers, rate,
// origin, duration and data kind, with its components and the essence descriptor behind each.
//
// Made anew for each asker by HeaderMetadata::GetTrack and not kept. `sourceClips` and
// `descriptors` are aligned: one slot per component, either may be null.
// Threads: reading a value moves the set's own cursor under the set's lock, so a track may be
// read from several threads. Failures: the constructor throws the narrow string
// "STTrack Init Error" when an array cannot be made.
#pragma once

#include <cstdint>

#include "foundation/CUArray.h"
#include "mxf/MxfUUID.h"
#include "mxf/ParseMetaData.h"
#include "mxf/PrimerPack.h"

class STTrack : public CUObject {
public:
    STTrack();

    // The component's value first (a timecode track answers from its component), else the
    // essence descriptor's; null when neither has it.
    CUSharedPtr<CUObject> GetDescriptorValue(uint32_t tag) const;
    template <class T>
    CUSharedPtr<T> GetDescriptorValueAs(uint32_t tag) const {
        return CUSharedPtr<T>(GetDescriptorValue(tag));
    }

    CUSharedPtr<PrimerPack> primerPack;
    uint32_t trackID = 0;
    uint32_t trackNumber = 0;
    MXFRational editRate;
    int64_t origin = 0;
    CUSharedPtr<MxfUUID> dataDefinition;
    int64_t duration = 0;
    CUSharedPtr<CUMutableArray> sourceClips;  // STMetadataSets, one per component
    CUSharedPtr<CUMutableArray> descriptors;  // STMetadataSets, aligned with sourceClips
};

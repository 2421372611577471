#include "mxf/STTrack.h"

#include "mxf/STMetadataSets.h"

STTrack::STTrack()
    : sourceClips(CUCreate<CUMutableArray>()), descriptors(CUCreate<CUMutableArray>()) {
    if (!sourceClips || !descriptors) throw "STTrack Init Error";
}

CUSharedPtr<CUObject> STTrack::GetDescriptorValue(uint32_t tag) const {
    for (const CUSharedPtr<CUMutableArray>& sets : {sourceClips, descriptors}) {
        if (!sets || sets->Count() == 0) continue;
        CUSharedPtr<STMetadataSets> set(sets->ObjectAtIndex(0));
        if (!set) continue;
        CUSharedPtr<CUObject> value = set->GetValue(tag);
        if (value) return value;
    }
    return nullptr;
}

// HeaderMetadata: the header metadata of a file as a graph of sets keyed by instance identifier,
// and the one road through it that the clip wrapper needs: Preface, ContentStorage, packages,
// tracks, sequence, source clip, source package, descriptor.
//
// Filled once while the file opens (AddSet, then the two Resolve calls); read-only afterwards,
// except that reading a value moves a set's own cursor under the set's lock.
// Failures: the constructor throws the narrow string "HeaderMetadata init error" when an array
// cannot be made; the Resolve calls give 0 or MXFErrorParse; a dangling reference is no failure:
// the entry is left out, or a track gets a null descriptor.
#pragma once

#include <cstdint>
#include <map>

#include "foundation/CUArray.h"
#include "mxf/MXFLabels.h"
#include "mxf/MxfUUID.h"
#include "mxf/PrimerPack.h"
#include "mxf/STMetadataSets.h"
#include "mxf/STTrack.h"

// Structural sets are told apart by the number in their key (mxf_label::set_number).
namespace mxf_set = mxf_label::set_number;

class HeaderMetadata : public CUObject {
public:
    HeaderMetadata();

    // Enters a structural set by its InstanceUID; the first set of a UID stands, but a Preface
    // always becomes `preface`. A set without an InstanceUID is dropped.
    void AddSet(const CUSharedPtr<STMetadataSets>& set);
    CUSharedPtr<STMetadataSets> GetSet(const MxfUUID& uid) const;
    CUSharedPtr<STMetadataSets> GetSet(const CUSharedPtr<MxfUUID>& uid) const;

    uint32_t ResolveIdentifications();
    uint32_t ResolveContentStorage();

    // The Tracks of the first material package; 0 when there is none.
    uint64_t GetTrackCount() const;
    // Null when anything on the way is missing, or the file has no primer pack.
    CUSharedPtr<STTrack> GetTrack(uint64_t index) const;

    std::map<MxfUUID, CUSharedPtr<STMetadataSets>> sets;
    CUSharedPtr<STMetadataSets> preface;
    CUSharedPtr<PrimerPack> primerPack;
    CUSharedPtr<CUMutableArray> identifications;
    CUSharedPtr<CUMutableArray> materialPackages;
    CUSharedPtr<CUMutableArray> sourcePackages;
    CUSharedPtr<CUMutableArray> essenceContainerData;

private:
    CUSharedPtr<STMetadataSets> FindDescriptor(const CUSharedPtr<STMetadataSets>& component) const;
    CUSharedPtr<STMetadataSets> FirstMaterialPackage() const;
};

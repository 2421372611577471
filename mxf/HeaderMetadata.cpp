#include "mxf/HeaderMetadata.h"

#include "mxf/MDValue.h"
#include "mxf/MXFError.h"
#include "mxf/MXFLocalTags.h"
#include "mxf/UMID.h"

namespace {
uint16_t SetNumber(const STMetadataSets& set) {
    return KLVKindStructuralSetNumber(set.GetKind());
}

// A value's number, or false when it is missing or of another kind.
template <class T>
bool ReadNumber(STMetadataSets& set, uint32_t tag, T (MDValue::*accessor)(), T* out) {
    CUSharedPtr<MDValue> value = set.GetValueAs<MDValue>(tag);
    if (!value) return false;
    try {
        *out = ((*value).*accessor)();
        return true;
    } catch (const char*) {
        return false;
    }
}
}  // namespace

HeaderMetadata::HeaderMetadata()
    : identifications(CUCreate<CUMutableArray>()),
      materialPackages(CUCreate<CUMutableArray>()),
      sourcePackages(CUCreate<CUMutableArray>()),
      essenceContainerData(CUCreate<CUMutableArray>()) {
    if (!identifications || !materialPackages || !sourcePackages || !essenceContainerData)
        throw "HeaderMetadata init error";
}

void HeaderMetadata::AddSet(const CUSharedPtr<STMetadataSets>& set) {
    if (!set) return;
    CUSharedPtr<MxfUUID> uid = set->GetValueAs<MxfUUID>(mxf_tag::InstanceUID);
    if (!uid || !KLVKindIsStructuralSet(set->GetKind())) return;
    sets.emplace(*uid, set);
    if (SetNumber(*set) == mxf_set::Preface) preface = set;
}

CUSharedPtr<STMetadataSets> HeaderMetadata::GetSet(const MxfUUID& uid) const {
    auto found = sets.find(uid);
    return found == sets.end() ? CUSharedPtr<STMetadataSets>() : found->second;
}

CUSharedPtr<STMetadataSets> HeaderMetadata::GetSet(const CUSharedPtr<MxfUUID>& uid) const {
    return uid ? GetSet(*uid) : nullptr;
}

uint32_t HeaderMetadata::ResolveIdentifications() {
    identifications->RemoveAllObjects();
    if (!preface) return MXFErrorNone;
    CUSharedPtr<CUArray> uids = preface->GetValueAs<CUArray>(mxf_tag::Identifications);
    if (!uids) return MXFErrorParse;
    for (uint64_t i = 0; i < uids->Count(); ++i) {
        CUSharedPtr<STMetadataSets> set = GetSet(CUSharedPtr<MxfUUID>(uids->ObjectAtIndex(i)));
        if (set) identifications->AddObject(set);
    }
    return MXFErrorNone;
}

uint32_t HeaderMetadata::ResolveContentStorage() {
    materialPackages->RemoveAllObjects();
    sourcePackages->RemoveAllObjects();
    essenceContainerData->RemoveAllObjects();
    if (!preface) return MXFErrorNone;
    CUSharedPtr<MxfUUID> storageUID = preface->GetValueAs<MxfUUID>(mxf_tag::ContentStorage);
    if (!storageUID) return MXFErrorParse;
    CUSharedPtr<STMetadataSets> storage = GetSet(storageUID);
    if (!storage) return MXFErrorNone;

    if (CUSharedPtr<CUArray> packages = storage->GetValueAs<CUArray>(mxf_tag::Packages)) {
        for (uint64_t i = 0; i < packages->Count(); ++i) {
            CUSharedPtr<STMetadataSets> set =
                GetSet(CUSharedPtr<MxfUUID>(packages->ObjectAtIndex(i)));
            if (!set) continue;
            if (SetNumber(*set) == mxf_set::MaterialPackage) materialPackages->AddObject(set);
            if (SetNumber(*set) == mxf_set::SourcePackage) sourcePackages->AddObject(set);
        }
    }
    if (CUSharedPtr<CUArray> data = storage->GetValueAs<CUArray>(mxf_tag::EssenceContainerData)) {
        for (uint64_t i = 0; i < data->Count(); ++i) {
            CUSharedPtr<STMetadataSets> set = GetSet(CUSharedPtr<MxfUUID>(data->ObjectAtIndex(i)));
            if (set) essenceContainerData->AddObject(set);
        }
    }
    return MXFErrorNone;
}

CUSharedPtr<STMetadataSets> HeaderMetadata::FirstMaterialPackage() const {
    return CUSharedPtr<STMetadataSets>(materialPackages->ObjectAtIndex(0));
}

uint64_t HeaderMetadata::GetTrackCount() const {
    CUSharedPtr<STMetadataSets> package = FirstMaterialPackage();
    if (!package) return 0;
    CUSharedPtr<CUArray> tracks = package->GetValueAs<CUArray>(mxf_tag::Tracks);
    return tracks ? tracks->Count() : 0;
}

CUSharedPtr<STTrack> HeaderMetadata::GetTrack(uint64_t index) const {
    CUSharedPtr<STMetadataSets> package = FirstMaterialPackage();
    if (!package || !primerPack) return nullptr;
    CUSharedPtr<CUArray> tracks = package->GetValueAs<CUArray>(mxf_tag::Tracks);
    if (!tracks) return nullptr;
    CUSharedPtr<STMetadataSets> trackSet =
        GetSet(CUSharedPtr<MxfUUID>(tracks->ObjectAtIndex(index)));
    if (!trackSet) return nullptr;
    CUSharedPtr<STMetadataSets> sequence = GetSet(trackSet->GetValueAs<MxfUUID>(mxf_tag::Sequence));
    if (!sequence) return nullptr;
    CUSharedPtr<CUArray> components = sequence->GetValueAs<CUArray>(mxf_tag::StructuralComponents);
    if (!components) return nullptr;

    CUSharedPtr<STTrack> track = CUCreate<STTrack>();
    if (!track) return nullptr;
    track->primerPack = primerPack;
    track->dataDefinition = sequence->GetValueAs<MxfUUID>(mxf_tag::DataDefinition);
    if (!ReadNumber(*trackSet, mxf_tag::TrackID, &MDValue::AsUInt32, &track->trackID) ||
        !ReadNumber(*trackSet, mxf_tag::TrackNumber, &MDValue::AsUInt32, &track->trackNumber) ||
        !ReadNumber(*trackSet, mxf_tag::EditRate, &MDValue::AsRational, &track->editRate) ||
        !ReadNumber(*trackSet, mxf_tag::Origin, &MDValue::AsInt64, &track->origin) ||
        !track->dataDefinition ||
        !ReadNumber(*sequence, mxf_tag::Duration, &MDValue::AsInt64, &track->duration))
        return nullptr;

    for (uint64_t i = 0; i < components->Count(); ++i) {
        CUSharedPtr<STMetadataSets> component =
            GetSet(CUSharedPtr<MxfUUID>(components->ObjectAtIndex(i)));
        CUSharedPtr<STMetadataSets> descriptor =
            component ? FindDescriptor(component) : CUSharedPtr<STMetadataSets>();
        // Both arrays take a slot, null or not, so that they stay aligned.
        track->sourceClips->AddObject(component);
        track->descriptors->AddObject(descriptor);
    }
    return track;
}

CUSharedPtr<STMetadataSets> HeaderMetadata::FindDescriptor(
    const CUSharedPtr<STMetadataSets>& component) const {
    CUSharedPtr<UMID> packageID = component->GetValueAs<UMID>(mxf_tag::SourcePackageID);
    uint32_t sourceTrackID = 0;
    if (!packageID ||
        !ReadNumber(*component, mxf_tag::SourceTrackID, &MDValue::AsUInt32, &sourceTrackID))
        return nullptr;

    // If several source packages carry the UMID, the last one counts.
    CUSharedPtr<STMetadataSets> package;
    for (uint64_t i = 0; i < sourcePackages->Count(); ++i) {
        CUSharedPtr<STMetadataSets> candidate(sourcePackages->ObjectAtIndex(i));
        CUSharedPtr<UMID> uid =
            candidate ? candidate->GetValueAs<UMID>(mxf_tag::PackageUID) : CUSharedPtr<UMID>();
        if (uid && uid->IsEqual(*packageID)) package = candidate;
    }
    if (!package) return nullptr;
    CUSharedPtr<STMetadataSets> descriptor =
        GetSet(package->GetValueAs<MxfUUID>(mxf_tag::Descriptor));
    if (!descriptor) return nullptr;

    auto linked = [&](STMetadataSets& set) {
        uint32_t linkedTrackID = 0;
        return ReadNumber(set, mxf_tag::LinkedTrackID, &MDValue::AsUInt32, &linkedTrackID) &&
               linkedTrackID == sourceTrackID;
    };
    if (SetNumber(*descriptor) != mxf_set::MultipleDescriptor)
        return linked(*descriptor) ? descriptor : nullptr;

    CUSharedPtr<STMetadataSets> match;
    if (CUSharedPtr<CUArray> subs = descriptor->GetValueAs<CUArray>(mxf_tag::SubDescriptorUIDs)) {
        for (uint64_t i = 0; i < subs->Count(); ++i) {
            CUSharedPtr<STMetadataSets> sub = GetSet(CUSharedPtr<MxfUUID>(subs->ObjectAtIndex(i)));
            if (sub && linked(*sub)) match = sub;
        }
    }
    return match;
}

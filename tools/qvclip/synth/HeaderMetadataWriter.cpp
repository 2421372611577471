#include "tools/qvclip/synth/HeaderMetadataWriter.h"

#include <set>

#include "mxf/MXFLocalTags.h"
#include "tools/qvclip/synth/KLVWriter.h"
#include "tools/qvclip/synth/LocalSetWriter.h"
#include "tools/qvclip/synth/MetadataDictionary.h"

namespace synth {

namespace {

using namespace mxf_tag;
using mxf_label::Label;
using mxf_label::StructuralSet;
namespace set = mxf_label::set_number;

constexpr char CameraCompany[] = "ZOREL";
constexpr char WriterName[] = "qvclip synth";
constexpr char WriterVersion[] = "1.0";
// Identifies this writer as a product, whatever it writes.
constexpr Label WriterUID = {0x6A, 0x1C, 0x52, 0x0E, 0x93, 0x47, 0x4B, 0x7D,
                             0xA6, 0x0F, 0x2D, 0x58, 0xC1, 0x3E, 0x70, 0x94};
constexpr uint16_t VersionMinor2 = 0x0102, VersionMinor3 = 0x0103;

// Everything the sets need to know about one track, in both packages.
struct TrackFacts {
    uint32_t id;
    uint32_t fileTrackNumber;
    Label dataDefinition;
};

class Writer {
public:
    Writer(const ClipPlan& plan, UIDMaker& uids) : plan(plan), uids(uids) {
        for (uint16_t tag : {IndexEditRate, IndexStartPosition, IndexDuration, EditUnitByteCount,
                             IndexSID, BodySID, SliceCount, DeltaEntryArray, IndexEntryArray})
            used.insert(tag);
        const uint32_t frames = plan.options.frames;
        duration = frames;
        tracks.push_back({1, 0, mxf_label::TimecodeTrack});
        tracks.push_back(
            {2, mxf_label::TrackNumberOf(plan.pictureElement), mxf_label::PictureTrack});
        for (size_t c = 0; c < plan.soundElements.size(); ++c)
            tracks.push_back({static_cast<uint32_t>(3 + c),
                              mxf_label::TrackNumberOf(plan.soundElements[c]),
                              mxf_label::SoundTrack});
    }

    std::vector<uint8_t> Write() {
        const Label preface = uids.NextUUID(), identification = uids.NextUUID(),
                    storage = uids.NextUUID(), containerData = uids.NextUUID(),
                    material = uids.NextUUID(), source = uids.NextUUID();
        const UMIDBytes materialUMID = uids.NextUMID(), sourceUMID = uids.NextUMID();
        const ClipDate& date = plan.date;

        LocalSetWriter(used)
            .Label(InstanceUID, preface)
            .Timestamp(LastModifiedDate, date)
            .U16(Version, plan.options.headerIndex ? VersionMinor3 : VersionMinor2)
            .Batch(Identifications, {identification})
            .Label(ContentStorage, storage)
            .Label(OperationalPattern, mxf_label::OperationalPattern)
            .Batch(mxf_tag::EssenceContainers, synth::EssenceContainers(plan))
            .Batch(DMSchemes, {})
            .AppendTo(sets, StructuralSet(set::Preface));
        LocalSetWriter(used)
            .Label(InstanceUID, identification)
            .Label(ThisGenerationUID, uids.NextUUID())
            .Text(CompanyName, CameraCompany)
            .Text(ProductName, WriterName)
            .Text(VersionString, WriterVersion)
            .Label(ProductUID, WriterUID)
            .Timestamp(ModificationDate, date)
            .AppendTo(sets, StructuralSet(set::Identification));
        LocalSetWriter(used)
            .Label(InstanceUID, storage)
            .Batch(Packages, {material, source})
            .Batch(EssenceContainerData, {containerData})
            .AppendTo(sets, StructuralSet(set::ContentStorage));
        LocalSetWriter(used)
            .Label(InstanceUID, containerData)
            .UMID(LinkedPackageUID, sourceUMID)
            .U32(IndexSID, EssenceIndexSID)
            .U32(BodySID, EssenceBodySID)
            .AppendTo(sets, StructuralSet(set::EssenceContainerData));

        Package(set::MaterialPackage, material, materialUMID, &sourceUMID, nullptr);
        const Label descriptor = uids.NextUUID();
        Package(set::SourcePackage, source, sourceUMID, nullptr, &descriptor);
        Descriptors(descriptor);

        LocalSetWriter(used)
            .Label(InstanceUID, uids.NextUUID())
            .UMID(PackageUID, materialUMID)
            .I64(StartTimecode, static_cast<int64_t>(plan.startTimecode))
            .I64(StartPosition, 0)
            .AppendTo(sets, mxf_label::StreamFileSequenceSet);

        ByteBuffer out;
        ByteBuffer primer;
        primer.U32(static_cast<uint32_t>(used.size()));
        primer.U32(2 + KeySize);
        for (uint16_t tag : used) {
            primer.U16(tag);
            primer.Bytes(ItemLabel(tag));
        }
        AppendKLV(out, mxf_label::PrimerPack, primer.Data());
        out.Bytes(sets.Data());
        return out.Take();
    }

private:
    // A package with its tracks. A material package's clips point at `playedPackage`; a file
    // package's clips end the chain, and it carries `descriptor`.
    void Package(uint16_t number, const Label& instance, const UMIDBytes& umid,
                 const UMIDBytes* playedPackage, const Label* descriptor) {
        std::vector<Label> trackUIDs;
        for (size_t i = 0; i < tracks.size(); ++i) trackUIDs.push_back(uids.NextUUID());
        LocalSetWriter package(used);
        package.Label(InstanceUID, instance)
            .UMID(PackageUID, umid)
            .Timestamp(PackageCreationDate, plan.date)
            .Timestamp(PackageModifiedDate, plan.date)
            .Batch(Tracks, trackUIDs);
        if (descriptor) package.Label(Descriptor, *descriptor);
        package.AppendTo(sets, StructuralSet(number));

        for (size_t i = 0; i < tracks.size(); ++i) {
            const TrackFacts& track = tracks[i];
            const Label sequence = uids.NextUUID(), component = uids.NextUUID();
            LocalSetWriter(used)
                .Label(InstanceUID, trackUIDs[i])
                .U32(TrackID, track.id)
                .U32(TrackNumber, playedPackage ? 0 : track.fileTrackNumber)
                .Rational(EditRate, static_cast<int32_t>(plan.options.rateNumerator),
                          static_cast<int32_t>(plan.options.rateDenominator))
                .I64(Origin, 0)
                .Label(Sequence, sequence)
                .AppendTo(sets, StructuralSet(set::Track));
            LocalSetWriter(used)
                .Label(InstanceUID, sequence)
                .Label(DataDefinition, track.dataDefinition)
                .I64(Duration, duration)
                .Batch(StructuralComponents, {component})
                .AppendTo(sets, StructuralSet(set::Sequence));
            if (track.dataDefinition == mxf_label::TimecodeTrack) {
                LocalSetWriter(used)
                    .Label(InstanceUID, component)
                    .Label(DataDefinition, track.dataDefinition)
                    .I64(Duration, duration)
                    .I64(StartTimecode, static_cast<int64_t>(plan.startTimecode))
                    .U16(RoundedTimecodeBase, static_cast<uint16_t>(plan.timecodeBase))
                    .U8(DropFrame, plan.dropFrame ? 1 : 0)
                    .AppendTo(sets, StructuralSet(set::TimecodeComponent));
                continue;
            }
            LocalSetWriter(used)
                .Label(InstanceUID, component)
                .Label(DataDefinition, track.dataDefinition)
                .I64(Duration, duration)
                .I64(StartPosition, 0)
                .UMID(SourcePackageID, playedPackage ? *playedPackage : UMIDBytes{})
                .U32(SourceTrackID, playedPackage ? track.id : 0)
                .AppendTo(sets, StructuralSet(set::SourceClip));
        }
    }

    void Descriptors(const Label& multiple) {
        const SynthOptions& o = plan.options;
        std::vector<Label> subDescriptors;
        for (size_t i = 1; i < tracks.size(); ++i) subDescriptors.push_back(uids.NextUUID());
        const auto rateNumerator = static_cast<int32_t>(o.rateNumerator);
        const auto rateDenominator = static_cast<int32_t>(o.rateDenominator);
        LocalSetWriter(used)
            .Label(InstanceUID, multiple)
            .Rational(SampleRate, rateNumerator, rateDenominator)
            .I64(ContainerDuration, duration)
            .Label(EssenceContainer, mxf_label::ContainerMultiple)
            .Batch(SubDescriptorUIDs, subDescriptors)
            .AppendTo(sets, StructuralSet(set::MultipleDescriptor));

        const uint32_t shift = o.bitDepth - 8;
        LocalSetWriter picture(used);
        picture.Label(InstanceUID, subDescriptors[0])
            .U32(LinkedTrackID, tracks[1].id)
            .Rational(SampleRate, rateNumerator, rateDenominator)
            .I64(ContainerDuration, duration)
            .Label(EssenceContainer, plan.pictureContainer)
            .Label(PictureEssenceCoding, plan.pictureCoding)
            .U8(FrameLayout, 0)  // one progressive picture per frame
            .U32(StoredWidth, o.width)
            .U32(StoredHeight, o.height)
            .U32(SampledWidth, o.width)
            .U32(SampledHeight, o.height)
            .U32(DisplayWidth, o.width)
            .U32(DisplayHeight, o.height)
            .Rational(AspectRatio, static_cast<int32_t>(o.width), static_cast<int32_t>(o.height))
            .Int32Batch(VideoLineMap, {0, 0})
            .Label(TransferCharacteristic, plan.transfer)
            .Label(ColorPrimaries, plan.primaries);
        if (o.rgbaDescriptor) {
            const auto depth = static_cast<uint8_t>(o.bitDepth);
            const uint8_t layout[16] = {'R', depth, 'G', depth, 'B', depth};
            picture.Raw(PixelLayout, layout)
                .U32(ComponentMaxRef, (1u << o.bitDepth) - 1)
                .U32(ComponentMinRef, 0)
                .AppendTo(sets, StructuralSet(set::RGBADescriptor));
        } else {
            // Chroma sited with the luma for 4:2:2, between the lines for 4:2:0.
            picture.U32(ComponentDepth, o.bitDepth)
                .U32(HorizontalSubsampling, 2)
                .U32(VerticalSubsampling, o.chroma == 420 ? 2 : 1)
                .U8(ColorSiting, o.chroma == 420 ? 6 : 0)
                .U32(BlackRefLevel, 16u << shift)
                .U32(WhiteRefLevel, 235u << shift)
                .U32(ColorRange, (224u << shift) + 1)  // chroma from 16 to 240
                .AppendTo(sets, StructuralSet(set::CDCIDescriptor));
        }

        const uint32_t blockAlign = o.soundBits / 8;
        for (size_t c = 0; c < plan.soundElements.size(); ++c)
            LocalSetWriter(used)
                .Label(InstanceUID, subDescriptors[1 + c])
                .U32(LinkedTrackID, tracks[2 + c].id)
                .Rational(SampleRate, rateNumerator, rateDenominator)
                .I64(ContainerDuration, duration)
                .Label(EssenceContainer, mxf_label::ContainerWave)
                .Rational(AudioSamplingRate, ClipPlan::SampleRate, 1)
                .U8(Locked, 1)
                .U32(ChannelCount, 1)
                .U32(QuantizationBits, o.soundBits)
                .U16(BlockAlign, static_cast<uint16_t>(blockAlign))
                .U32(AvgBps, ClipPlan::SampleRate * blockAlign)
                .AppendTo(sets, StructuralSet(set::WaveAudioDescriptor));
    }

    const ClipPlan& plan;
    UIDMaker& uids;
    std::set<uint16_t> used;
    std::vector<TrackFacts> tracks;
    int64_t duration = 0;
    ByteBuffer sets;
};

}  // namespace

std::vector<Label> EssenceContainers(const ClipPlan& plan) {
    std::vector<Label> labels = {plan.pictureContainer};
    if (!plan.soundElements.empty()) labels.push_back(mxf_label::ContainerWave);
    return labels;
}

std::vector<uint8_t> WriteHeaderMetadata(const ClipPlan& plan, UIDMaker& uids) {
    return Writer(plan, uids).Write();
}

}  // namespace synth

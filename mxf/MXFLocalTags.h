// Local tags of the sets this reader understands, named once for the reader and for the writer of
// test clips. The reader recognises them by these fixed numbers whatever a file's primer says.
#pragma once

#include <cstdint>

namespace mxf_tag {

// Interchange object and generation.
inline constexpr uint16_t InstanceUID = 0x3C0A;
inline constexpr uint16_t GenerationUID = 0x0102;

// Preface.
inline constexpr uint16_t LastModifiedDate = 0x3B02;
inline constexpr uint16_t ContentStorage = 0x3B03;
inline constexpr uint16_t Version = 0x3B05;
inline constexpr uint16_t Identifications = 0x3B06;
inline constexpr uint16_t OperationalPattern = 0x3B09;
inline constexpr uint16_t EssenceContainers = 0x3B0A;
inline constexpr uint16_t DMSchemes = 0x3B0B;

// Identification.
inline constexpr uint16_t ThisGenerationUID = 0x3C09;
inline constexpr uint16_t CompanyName = 0x3C01;
inline constexpr uint16_t ProductName = 0x3C02;
inline constexpr uint16_t VersionString = 0x3C04;
inline constexpr uint16_t ProductUID = 0x3C05;
inline constexpr uint16_t ModificationDate = 0x3C06;

// Content storage and essence container data.
inline constexpr uint16_t Packages = 0x1901;
inline constexpr uint16_t EssenceContainerData = 0x1902;
inline constexpr uint16_t LinkedPackageUID = 0x2701;
inline constexpr uint16_t IndexSID = 0x3F06;
inline constexpr uint16_t BodySID = 0x3F07;

// Packages.
inline constexpr uint16_t PackageUID = 0x4401;
inline constexpr uint16_t Tracks = 0x4403;
inline constexpr uint16_t PackageModifiedDate = 0x4404;
inline constexpr uint16_t PackageCreationDate = 0x4405;
inline constexpr uint16_t Descriptor = 0x4701;

// Tracks, sequences and components.
inline constexpr uint16_t TrackID = 0x4801;
inline constexpr uint16_t TrackNumber = 0x4804;
inline constexpr uint16_t Sequence = 0x4803;
inline constexpr uint16_t EditRate = 0x4B01;
inline constexpr uint16_t Origin = 0x4B02;
inline constexpr uint16_t DataDefinition = 0x0201;
inline constexpr uint16_t Duration = 0x0202;
inline constexpr uint16_t StructuralComponents = 0x1001;
inline constexpr uint16_t SourcePackageID = 0x1101;
inline constexpr uint16_t SourceTrackID = 0x1102;
inline constexpr uint16_t StartPosition = 0x1201;
inline constexpr uint16_t StartTimecode = 0x1501;
inline constexpr uint16_t RoundedTimecodeBase = 0x1502;
inline constexpr uint16_t DropFrame = 0x1503;

// File descriptors.
inline constexpr uint16_t LinkedTrackID = 0x3006;
inline constexpr uint16_t SampleRate = 0x3001;
inline constexpr uint16_t ContainerDuration = 0x3002;
inline constexpr uint16_t EssenceContainer = 0x3004;
inline constexpr uint16_t SubDescriptorUIDs = 0x3F01;

// Picture descriptors.
inline constexpr uint16_t PictureEssenceCoding = 0x3201;
inline constexpr uint16_t StoredHeight = 0x3202;
inline constexpr uint16_t StoredWidth = 0x3203;
inline constexpr uint16_t SampledHeight = 0x3204;
inline constexpr uint16_t SampledWidth = 0x3205;
inline constexpr uint16_t SampledXOffset = 0x3206;
inline constexpr uint16_t SampledYOffset = 0x3207;
inline constexpr uint16_t DisplayHeight = 0x3208;
inline constexpr uint16_t DisplayWidth = 0x3209;
inline constexpr uint16_t DisplayXOffset = 0x320A;
inline constexpr uint16_t DisplayYOffset = 0x320B;
inline constexpr uint16_t FrameLayout = 0x320C;
inline constexpr uint16_t VideoLineMap = 0x320D;
inline constexpr uint16_t AspectRatio = 0x320E;
inline constexpr uint16_t TransferCharacteristic = 0x3210;
inline constexpr uint16_t ImageAlignmentOffset = 0x3211;
inline constexpr uint16_t FieldDominance = 0x3212;
inline constexpr uint16_t ImageStartOffset = 0x3213;
inline constexpr uint16_t ImageEndOffset = 0x3214;
inline constexpr uint16_t SignalStandard = 0x3215;
inline constexpr uint16_t StoredF2Offset = 0x3216;
inline constexpr uint16_t DisplayF2Offset = 0x3217;
inline constexpr uint16_t ColorPrimaries = 0x3219;
inline constexpr uint16_t ComponentDepth = 0x3301;
inline constexpr uint16_t HorizontalSubsampling = 0x3302;
inline constexpr uint16_t ColorSiting = 0x3303;
inline constexpr uint16_t BlackRefLevel = 0x3304;
inline constexpr uint16_t WhiteRefLevel = 0x3305;
inline constexpr uint16_t ColorRange = 0x3306;
inline constexpr uint16_t PaddingBits = 0x3307;
inline constexpr uint16_t VerticalSubsampling = 0x3308;
inline constexpr uint16_t ReversedByteOrder = 0x330B;
inline constexpr uint16_t PixelLayout = 0x3401;
inline constexpr uint16_t ScanningDirection = 0x3405;
inline constexpr uint16_t ComponentMaxRef = 0x3406;
inline constexpr uint16_t ComponentMinRef = 0x3407;

// Sound descriptors.
inline constexpr uint16_t AudioSamplingRate = 0x3D03;
inline constexpr uint16_t Locked = 0x3D02;
inline constexpr uint16_t AudioRefLevel = 0x3D04;
inline constexpr uint16_t ChannelCount = 0x3D07;
inline constexpr uint16_t QuantizationBits = 0x3D01;
inline constexpr uint16_t BlockAlign = 0x3D0A;
inline constexpr uint16_t AvgBps = 0x3D09;
inline constexpr uint16_t ChannelStatusMode = 0x3D10;
inline constexpr uint16_t FixedChannelStatusData = 0x3D11;

// Index table segment.
inline constexpr uint16_t EditUnitByteCount = 0x3F05;
inline constexpr uint16_t SliceCount = 0x3F08;
inline constexpr uint16_t DeltaEntryArray = 0x3F09;
inline constexpr uint16_t IndexEntryArray = 0x3F0A;
inline constexpr uint16_t IndexEditRate = 0x3F0B;
inline constexpr uint16_t IndexStartPosition = 0x3F0C;
inline constexpr uint16_t IndexDuration = 0x3F0D;
inline constexpr uint16_t PosTableCount = 0x3F0E;

// Tags outside the standard's static range that this system reads as a u32 and a UUID array.
inline constexpr uint16_t Private8007 = 0x8007;
inline constexpr uint16_t Private8080 = 0x8080;

}  // namespace mxf_tag

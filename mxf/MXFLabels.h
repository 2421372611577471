// The 16-byte keys and labels of the camera files, named once for the reader and for the writer of
// test clips (qvclip synth): partition and index keys, structural set keys by number, the system
// item, essence element keys, the operational pattern, essence containers, picture codings,
// transfer characteristics, colour primaries and data definitions. Also the fixed layout of the
// system metadata pack, which the system item analysis and the writer share.
// Everything here is constexpr data: no state, no lock, nothing to fail.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace mxf_label {

using Label = std::array<uint8_t, 16>;

// Partition packs, closed and complete. Byte 13 tells the partition's place, byte 14 its status.
inline constexpr Label HeaderPartitionClosedComplete = {
    0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x02, 0x04, 0x00};
inline constexpr Label BodyPartitionClosedComplete = {
    0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x03, 0x04, 0x00};
inline constexpr Label FooterPartitionClosedComplete = {
    0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01, 0x0D, 0x01, 0x02, 0x01, 0x01, 0x04, 0x04, 0x00};
inline constexpr Label PrimerPack = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01,
                                     0x0D, 0x01, 0x02, 0x01, 0x01, 0x05, 0x01, 0x00};
inline constexpr Label RandomIndexPack = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01,
                                          0x0D, 0x01, 0x02, 0x01, 0x01, 0x11, 0x01, 0x00};
inline constexpr Label Fill = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x02,
                               0x03, 0x01, 0x02, 0x10, 0x01, 0x00, 0x00, 0x00};
inline constexpr Label IndexTableSegment = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01,
                                            0x0D, 0x01, 0x02, 0x01, 0x01, 0x10, 0x01, 0x00};

// Structural metadata sets: 2-byte tags and lengths, the set's number in bytes 13 and 14.
constexpr Label StructuralSet(uint16_t number) {
    Label key = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01, 0x0D, 0x01, 0x01, 0x01, 0x01};
    key[13] = static_cast<uint8_t>(number >> 8);
    key[14] = static_cast<uint8_t>(number & 0xFF);
    return key;
}

namespace set_number {
inline constexpr uint16_t Sequence = 0x010F;
inline constexpr uint16_t SourceClip = 0x0111;
inline constexpr uint16_t TimecodeComponent = 0x0114;
inline constexpr uint16_t ContentStorage = 0x0118;
inline constexpr uint16_t EssenceContainerData = 0x0123;
inline constexpr uint16_t CDCIDescriptor = 0x0128;
inline constexpr uint16_t RGBADescriptor = 0x0129;
inline constexpr uint16_t Preface = 0x012F;
inline constexpr uint16_t Identification = 0x0130;
inline constexpr uint16_t MaterialPackage = 0x0136;
inline constexpr uint16_t SourcePackage = 0x0137;
inline constexpr uint16_t Track = 0x013B;
inline constexpr uint16_t MultipleDescriptor = 0x0144;
inline constexpr uint16_t WaveAudioDescriptor = 0x0148;
}  // namespace set_number

// The camera's private set in header metadata that carries the file sequence: start position,
// start timecode, its instance and the package it belongs to, as 2-byte tags and lengths.
inline constexpr Label StreamFileSequenceSet = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x0D,
                                                0x0E, 0x15, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00};

// The system item that opens every content package: a fixed pack, then a set with one-byte tags
// and two-byte lengths.
inline constexpr Label SystemMetadataPack = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01, 0x01,
                                             0x0D, 0x01, 0x03, 0x01, 0x04, 0x01, 0x01, 0x00};
inline constexpr Label PackageMetadataSet = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x43, 0x01, 0x01,
                                             0x0D, 0x01, 0x03, 0x01, 0x04, 0x01, 0x02, 0x01};

// KLV triplets inside the package metadata set's acquisition item.
inline constexpr Label AcquisitionPackList = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x0D,
                                              0x0E, 0x15, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00};
inline constexpr Label PictureStructure = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x0D,
                                           0x0E, 0x15, 0x00, 0x01, 0x01, 0x01, 0x00, 0x00};
inline constexpr Label PictureStructure2 = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x0D,
                                            0x0E, 0x15, 0x00, 0x01, 0x02, 0x01, 0x00, 0x00};

// Essence elements of the generic container: item type in byte 12 (picture 0x15, sound 0x16),
// the item's element count in byte 13, the element type in byte 14 and the element's number in
// byte 15. The last four bytes are the TrackNumber of the track that the element belongs to.
inline constexpr uint8_t PictureItem = 0x15;
inline constexpr uint8_t SoundItem = 0x16;
inline constexpr uint8_t PictureElementFrameWrapped = 0x05;  // MPEG and AVC streams, one picture
inline constexpr uint8_t SoundElementWaveFrameWrapped = 0x01;
constexpr Label EssenceElement(uint8_t item, uint8_t count, uint8_t type, uint8_t number) {
    return {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x02,  0x01, 0x01,
            0x0D, 0x01, 0x03, 0x01, item, count, type, number};
}
constexpr uint32_t TrackNumberOf(const Label& element) {
    return uint32_t{element[12]} << 24 | uint32_t{element[13]} << 16 | uint32_t{element[14]} << 8 |
           element[15];
}

// OP1a: one material package playing one file package; internal, stream file, multi-track.
inline constexpr Label OperationalPattern = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01,
                                             0x0D, 0x01, 0x02, 0x01, 0x01, 0x01, 0x09, 0x00};

// Data definitions of tracks.
inline constexpr Label TimecodeTrack = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01,
                                        0x01, 0x03, 0x02, 0x01, 0x01, 0x00, 0x00, 0x00};
inline constexpr Label PictureTrack = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01,
                                       0x01, 0x03, 0x02, 0x02, 0x01, 0x00, 0x00, 0x00};
inline constexpr Label SoundTrack = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01,
                                     0x01, 0x03, 0x02, 0x02, 0x02, 0x00, 0x00, 0x00};

// Essence containers, frame wrapped.
inline constexpr Label ContainerMultiple = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x03,
                                            0x0D, 0x01, 0x03, 0x01, 0x02, 0x7F, 0x01, 0x00};
inline constexpr Label ContainerAVC = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0A,
                                       0x0D, 0x01, 0x03, 0x01, 0x02, 0x10, 0x60, 0x01};
inline constexpr Label ContainerMPEG2 = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x02,
                                         0x0D, 0x01, 0x03, 0x01, 0x02, 0x04, 0x60, 0x01};
inline constexpr Label ContainerWave = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01,
                                        0x0D, 0x01, 0x03, 0x01, 0x02, 0x06, 0x01, 0x00};
// The camera's own container; with it byte 13 of the picture coding label says 2 for intra.
inline constexpr Label ContainerCamera = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0C,
                                          0x0E, 0x15, 0x00, 0x04, 0x02, 0x10, 0x00, 0x01};

// Picture essence coding. Byte 13 is what the clip wrapper looks at: in the standard AVC labels
// 0x31 is long GOP and 0x32 intra; under the camera's container 2 is intra.
inline constexpr size_t CodingKindByte = 13;
inline constexpr uint8_t CodingAVCLongGOP = 0x31;
inline constexpr uint8_t CodingAVCIntra = 0x32;
inline constexpr uint8_t CodingCameraLongGOP = 0x01;
inline constexpr uint8_t CodingCameraIntra = 0x02;
// AVC profiles in byte 14: long GOP High 0x40, High 10 0x50, High 4:2:2 0x60; intra High 10
// 0x20, High 4:2:2 0x30.
constexpr Label CodingAVC(uint8_t kind, uint8_t profile) {
    return {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01,    0x0A,
            0x04, 0x01, 0x02, 0x02, 0x01, kind, profile, 0x01};
}
// MPEG-2 video: byte 13 the profile and level (0x01 MP@ML, 0x02 422P@ML, 0x03 MP@HL, 0x05
// 422P@HL), byte 14 the GOP structure (see MPEG2Structure).
constexpr Label CodingMPEG2(uint8_t profileLevel, uint8_t structure) {
    return {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01,         0x01,      0x03,
            0x04, 0x01, 0x02, 0x02, 0x01, profileLevel, structure, 0x00};
}
// The GOP byte of an MPEG-2 label: main-level labels count I-frame only as 0x10 and long GOP as
// 0x11, the others as 0x02 and 0x03, except 422P@ML with 0x01 and 0x02.
constexpr uint8_t MPEG2Structure(uint8_t profileLevel, bool longGOP) {
    if (profileLevel == 0x01) return longGOP ? 0x11 : 0x10;
    if (profileLevel == 0x02) return longGOP ? 0x02 : 0x01;
    return longGOP ? 0x03 : 0x02;
}
// HEVC under the camera's container.
constexpr Label CodingCameraHEVC(uint8_t kind) {
    return {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0C,
            0x0E, 0x15, 0x00, 0x04, 0x01, kind, 0x01, 0x00};
}

// Transfer characteristics. The clip wrapper gives the module's gamma codes for them; the two
// labels named by code are the other labels of codes 3 and 12. The camera's two families differ in
// byte 7 (0x0D or 0x0C); byte 12 selects the curve.
constexpr Label TransferCamera(uint8_t family, uint8_t selector) {
    return {0x06, 0x0E, 0x2B, 0x34, 0x04,     0x01, 0x01, family,
            0x0E, 0x15, 0x00, 0x01, selector, 0x00, 0x00, 0x00};
}
inline constexpr Label TransferBT709 = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x01,
                                        0x04, 0x01, 0x01, 0x01, 0x01, 0x02, 0x00, 0x00};
inline constexpr Label TransferGammaCode3 = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D,
                                             0x04, 0x01, 0x01, 0x01, 0x01, 0x11, 0x00, 0x00};
inline constexpr Label TransferGammaCode12 = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D,
                                              0x04, 0x11, 0x01, 0x01, 0x01, 0x11, 0x00, 0x00};
inline constexpr Label TransferPQ = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D,
                                     0x04, 0x01, 0x01, 0x01, 0x01, 0x0A, 0x00, 0x00};
inline constexpr Label TransferHLG = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D,
                                      0x04, 0x01, 0x01, 0x01, 0x01, 0x0B, 0x00, 0x00};

// Colour primaries, with the camera's families as above and byte 12 selecting. The label named
// by code is the one label of gamut code 5.
constexpr Label PrimariesCamera(uint8_t family, uint8_t selector) {
    return {0x06, 0x0E, 0x2B, 0x34, 0x04,     0x01, 0x01, family,
            0x0E, 0x15, 0x00, 0x02, selector, 0x00, 0x00, 0x00};
}
inline constexpr Label PrimariesBT709 = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x06,
                                         0x04, 0x01, 0x01, 0x01, 0x03, 0x03, 0x00, 0x00};
inline constexpr Label PrimariesBT2020 = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D,
                                          0x04, 0x01, 0x01, 0x01, 0x03, 0x04, 0x00, 0x00};
inline constexpr Label PrimariesGamutCode5 = {0x06, 0x0E, 0x2B, 0x34, 0x04, 0x01, 0x01, 0x0D,
                                              0x04, 0x01, 0x01, 0x01, 0x03, 0x0E, 0x00, 0x00};
inline constexpr uint8_t CameraFamily0D = 0x0D;
inline constexpr uint8_t CameraFamily0C = 0x0C;

// Basic UMIDs: this 12-byte label, the length byte 0x13 (0x33 marks an extended UMID), a 3-byte
// instance number and a 16-byte material number.
inline constexpr std::array<uint8_t, 12> UMIDLabel = {0x06, 0x0A, 0x2B, 0x34, 0x01, 0x01,
                                                      0x01, 0x05, 0x01, 0x01, 0x0D, 0x20};
inline constexpr uint8_t UMIDLengthBasic = 0x13;
inline constexpr uint8_t UMIDLengthExtended = 0x33;

}  // namespace mxf_label

// The system metadata pack's value, by offset. The two stamps are 17 bytes each: a type byte,
// then 16 bytes of which a 4-byte timecode and, in a creation stamp, a 4-byte date come first.
namespace mxf_system_item {
inline constexpr uint32_t PackSize = 57;
inline constexpr uint32_t Bitmap = 0;
inline constexpr uint32_t Rate = 1;
inline constexpr uint32_t ContinuityCount = 5;
inline constexpr uint32_t Label = 7;
inline constexpr uint32_t CreationStampType = 23;
inline constexpr uint32_t CreationStamp = 24;
inline constexpr uint32_t UserStampType = 40;
inline constexpr uint32_t UserStamp = 41;
inline constexpr uint32_t StampSize = 16;
inline constexpr uint8_t StampDateTime = 0x82;  // timecode of the day, then the date
inline constexpr uint8_t StampTimecode = 0x81;  // the frame's timecode
inline constexpr uint8_t DateInvalid = 0x80;    // in byte 7 of a creation stamp
// Bitmap bits: a label, the two stamps, a picture item, a sound item.
inline constexpr uint8_t BitmapLabel = 0x40;
inline constexpr uint8_t BitmapCreationStamp = 0x20;
inline constexpr uint8_t BitmapUserStamp = 0x10;
inline constexpr uint8_t BitmapPicture = 0x08;
inline constexpr uint8_t BitmapSound = 0x04;
// The one item of the package metadata set that carries acquisition data as KLV triplets.
inline constexpr uint8_t AcquisitionItemTag = 0x88;
// Entries of a picture structure: what a range of the picture element holds.
inline constexpr uint8_t StructureSPS = 1;
inline constexpr uint8_t StructurePPS = 2;
inline constexpr uint8_t StructureSlice = 4;
inline constexpr uint8_t StructureVPS = 5;
inline constexpr uint8_t StructureTile = 6;
}  // namespace mxf_system_item

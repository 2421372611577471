// KLVKind: what a 16-byte key says a triplet is. The top byte is the family, the low 24 bits
// narrow it down; a key that fails a narrower rule keeps the kind of its family. ULKey::GetKind
// makes the classification; these helpers only take a kind apart.
#pragma once

#include <cstdint>

enum KLVKind : uint32_t {
    KLVKindUnknown = 0,  // not a label of the 06 0E 2B 34 registry
    KLVKindOther = 0x1000000,
    KLVKindElement = 0x2000000,
    KLVKindStreamFileSequence = 0x2000001,  // the private set of the camera's file sequence
    KLVKindEssence = 0x3000000,
    KLVKindPictureEssence = 0x3000001,
    KLVKindSoundEssence = 0x3000002,
    KLVKindControl = 0x4000000,
    KLVKindTypes = 0x5000000,
    KLVKindUniversalSet = 0x6000000,
    KLVKindGlobalSet = 0x7000000,
    KLVKindLocalSet = 0x8000000,
    KLVKindIndexTableSegment = 0x8000001,
    KLVKindPackageMetadataSet = 0x8000002,
    KLVKindStructuralSet = 0x8010000,  // + the set's 16-bit number, see KLVKindStructuralSetNumber
    KLVKindVariablePack = 0x9000000,
    KLVKindFixedPack = 0xA000000,
    KLVKindHeaderPartition = 0xA000001,
    KLVKindBodyPartition = 0xA000002,
    KLVKindFooterPartition = 0xA000003,
    KLVKindPrimerPack = 0xA000004,
    KLVKindRandomIndexPack = 0xA000005,
    KLVKindSystemMetadataPack = 0xA000006,
    KLVKindSimpleWrapper = 0xB000000,
    KLVKindComplexWrapper = 0xC000000,
    KLVKindLabel = 0xD000000,
    KLVKindRegisteredPrivate = 0xE000000,
};

inline constexpr uint32_t KLVKindFamilyMask = 0xFF000000;

// The family of a kind: KLVKindLocalSet for an index segment, KLVKindEssence for sound.
constexpr uint32_t KLVKindFamily(uint32_t kind) {
    return kind & KLVKindFamilyMask;
}

constexpr bool KLVKindIsStructuralSet(uint32_t kind) {
    return (kind & 0xFFFF0000) == KLVKindStructuralSet;
}

// The set number n of a structural set (0x012F for a Preface); meaningless for other kinds.
constexpr uint16_t KLVKindStructuralSetNumber(uint32_t kind) {
    return static_cast<uint16_t>(kind & 0xFFFF);
}

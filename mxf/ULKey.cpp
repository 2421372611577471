#include "mxf/ULKey.h"

#include <cstring>

namespace {

constexpr uint8_t kLabelPrefix[4] = {0x06, 0x0E, 0x2B, 0x34};

// Category designator (byte 4) and registry designator (byte 5) values that decide the family.
constexpr uint8_t kCategoryDictionary = 0x01;
constexpr uint8_t kCategoryGroup = 0x02;
constexpr uint8_t kCategoryWrapper = 0x03;
constexpr uint8_t kCategoryLabel = 0x04;
constexpr uint8_t kCategoryPrivate = 0x05;

// Local sets: the low three bits of byte 5 say "local set"; the bits above carry the tag and
// length forms, and 0x7C and up are not local-set designators.
constexpr uint8_t kLocalSetMask = 0x07;
constexpr uint8_t kLocalSetValue = 0x03;
constexpr uint8_t kLocalSetLimit = 0x7C;

// The private key of the camera's file sequence set.
constexpr uint8_t kStreamFileSequenceKey[16] = {0x06, 0x0E, 0x2B, 0x34, 0x01, 0x01, 0x01, 0x0D,
                                                0x0E, 0x15, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00};

// Bytes 6 to 9 shared by the sets and packs of the file format's own registry.
constexpr uint8_t kFormatRegistry[4] = {0x01, 0x01, 0x0D, 0x01};
// Essence elements: byte 6, then bytes 8 to 11 (byte 7 is the version and may be anything).
constexpr uint8_t kEssenceByte6 = 0x01;
constexpr uint8_t kEssenceRegistry[4] = {0x0D, 0x01, 0x03, 0x01};
constexpr uint8_t kPictureItem = 0x15;
constexpr uint8_t kSoundItem = 0x16;

// Bytes 10 onwards of the packs and sets told apart.
constexpr uint8_t kPartitionPack[3] = {0x02, 0x01, 0x01};  // byte 13: 02 header, 03 body, 04 footer
constexpr uint8_t kHeaderPartition = 0x02;
constexpr uint8_t kBodyPartition = 0x03;
constexpr uint8_t kFooterPartition = 0x04;
constexpr uint8_t kPrimerPack[5] = {0x02, 0x01, 0x01, 0x05, 0x01};
constexpr uint8_t kRandomIndexPack[5] = {0x02, 0x01, 0x01, 0x11, 0x01};
constexpr uint8_t kSystemMetadataPack[6] = {0x03, 0x01, 0x04, 0x01, 0x01, 0x00};
constexpr uint8_t kIndexTableSegment[5] = {0x02, 0x01, 0x01, 0x10, 0x01};
constexpr uint8_t kPackageMetadataSet[5] = {0x03, 0x01, 0x04, 0x01, 0x02};
constexpr uint8_t kStructuralSet[3] = {0x01, 0x01, 0x01};  // bytes 13 and 14 number the set

template <size_t N>
bool Matches(const std::array<uint8_t, 16>& key, size_t from, const uint8_t (&expected)[N]) {
    return std::memcmp(key.data() + from, expected, N) == 0;
}

KLVKind DictionaryKind(const std::array<uint8_t, 16>& k) {
    switch (k[5]) {
        case 0x01:
            return Matches(k, 0, kStreamFileSequenceKey) ? KLVKindStreamFileSequence
                                                         : KLVKindElement;
        case 0x02:
            if (k[6] == kEssenceByte6 && Matches(k, 8, kEssenceRegistry)) {
                if (k[12] == kPictureItem) return KLVKindPictureEssence;
                if (k[12] == kSoundItem) return KLVKindSoundEssence;
            }
            return KLVKindEssence;
        case 0x03:
            return KLVKindControl;
        case 0x04:
            return KLVKindTypes;
        default:
            return KLVKindOther;
    }
}

KLVKind LocalSetKind(const std::array<uint8_t, 16>& k) {
    if (!Matches(k, 6, kFormatRegistry)) return KLVKindLocalSet;
    if (Matches(k, 10, kIndexTableSegment)) return KLVKindIndexTableSegment;
    if (Matches(k, 10, kPackageMetadataSet)) return KLVKindPackageMetadataSet;
    if (Matches(k, 10, kStructuralSet))
        return static_cast<KLVKind>(KLVKindStructuralSet | (uint32_t{k[13]} << 8) | k[14]);
    return KLVKindLocalSet;
}

KLVKind FixedPackKind(const std::array<uint8_t, 16>& k) {
    if (Matches(k, 6, kFormatRegistry) && Matches(k, 10, kPartitionPack)) {
        if (k[13] == kHeaderPartition) return KLVKindHeaderPartition;
        if (k[13] == kBodyPartition) return KLVKindBodyPartition;
        if (k[13] == kFooterPartition) return KLVKindFooterPartition;
    }
    if (Matches(k, 10, kPrimerPack)) return KLVKindPrimerPack;
    if (Matches(k, 10, kRandomIndexPack)) return KLVKindRandomIndexPack;
    if (Matches(k, 10, kSystemMetadataPack)) return KLVKindSystemMetadataPack;
    return KLVKindFixedPack;
}

KLVKind GroupKind(const std::array<uint8_t, 16>& k) {
    switch (k[5]) {
        case 0x01:
            return KLVKindUniversalSet;
        case 0x02:
            return KLVKindGlobalSet;
        case 0x04:
            return KLVKindVariablePack;
        case 0x05:
            return FixedPackKind(k);
        default:
            if ((k[5] & kLocalSetMask) == kLocalSetValue && k[5] < kLocalSetLimit)
                return LocalSetKind(k);
            return KLVKindOther;
    }
}

}  // namespace

ULKey::ULKey(const uint8_t* source) {
    if (source) std::memcpy(bytes.data(), source, kSize);
}

KLVKind ULKey::GetKind() const {
    if (!Matches(bytes, 0, kLabelPrefix)) return KLVKindUnknown;
    switch (bytes[4]) {
        case kCategoryDictionary:
            return DictionaryKind(bytes);
        case kCategoryGroup:
            return GroupKind(bytes);
        case kCategoryWrapper:
            if (bytes[5] == 0x01) return KLVKindSimpleWrapper;
            if (bytes[5] == 0x02) return KLVKindComplexWrapper;
            return KLVKindOther;
        case kCategoryLabel:
            return KLVKindLabel;
        case kCategoryPrivate:
            return KLVKindRegisteredPrivate;
        default:
            return KLVKindOther;
    }
}

CUSharedPtr<CUStringWin> ULKey::Description() const {
    return CUCreate<CUStringWin>(MxfLabelText(bytes).c_str());
}

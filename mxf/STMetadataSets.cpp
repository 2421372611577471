#include "mxf/STMetadataSets.h"

#include <algorithm>
#include <array>
#include <new>

#include "foundation/CUAutoLock.h"
#include "foundation/CUVector.h"
#include "mxf/MDValue.h"
#include "mxf/MXFLocalTags.h"
#include "mxf/tagRGBALayout.h"

namespace {

enum class ValueType : uint8_t {
    AsNumber,           // MDValue of `kind`, exactly its length
    AsUUID,             // MxfUUID, 16 bytes
    AsUUIDArray,        // batch of MxfUUID, read as the batch says
    AsUmid,             // 32 or 64 bytes
    AsString,           // UTF-16, an even length above 0
    AsBytes,            // the item's bytes
    AsIntBatch,         // batch of big-endian i32
    AsByteVectorBatch,  // batch of byte vectors
    AsPixelLayout,      // eight code and depth pairs
};

struct TagType {
    uint16_t tag;
    ValueType type;
    uint32_t kind = 0;
};

using namespace mxf_tag;
using enum ValueType;

constexpr TagType kTagTypes[] = {
    {DropFrame, AsNumber, MDValueUInt8},
    {FrameLayout, AsNumber, MDValueUInt8},
    {FieldDominance, AsNumber, MDValueUInt8},
    {ColorSiting, AsNumber, MDValueUInt8},
    {ReversedByteOrder, AsNumber, MDValueUInt8},
    {ScanningDirection, AsNumber, MDValueUInt8},
    {Locked, AsNumber, MDValueUInt8},
    {RoundedTimecodeBase, AsNumber, MDValueUInt16},
    {Version, AsNumber, MDValueUInt16},
    {BlockAlign, AsNumber, MDValueUInt16},
    {SourceTrackID, AsNumber, MDValueUInt32},
    {LinkedTrackID, AsNumber, MDValueUInt32},
    {StoredHeight, AsNumber, MDValueUInt32},
    {StoredWidth, AsNumber, MDValueUInt32},
    {SampledHeight, AsNumber, MDValueUInt32},
    {SampledWidth, AsNumber, MDValueUInt32},
    {DisplayHeight, AsNumber, MDValueUInt32},
    {DisplayWidth, AsNumber, MDValueUInt32},
    {ImageAlignmentOffset, AsNumber, MDValueUInt32},
    {ImageEndOffset, AsNumber, MDValueUInt32},
    {DisplayF2Offset, AsNumber, MDValueUInt32},
    {ComponentDepth, AsNumber, MDValueUInt32},
    {HorizontalSubsampling, AsNumber, MDValueUInt32},
    {BlackRefLevel, AsNumber, MDValueUInt32},
    {WhiteRefLevel, AsNumber, MDValueUInt32},
    {ColorRange, AsNumber, MDValueUInt32},
    {VerticalSubsampling, AsNumber, MDValueUInt32},
    {ComponentMaxRef, AsNumber, MDValueUInt32},
    {ComponentMinRef, AsNumber, MDValueUInt32},
    {QuantizationBits, AsNumber, MDValueUInt32},
    {ChannelCount, AsNumber, MDValueUInt32},
    {AvgBps, AsNumber, MDValueUInt32},
    {IndexSID, AsNumber, MDValueUInt32},
    {BodySID, AsNumber, MDValueUInt32},
    {TrackID, AsNumber, MDValueUInt32},
    {TrackNumber, AsNumber, MDValueUInt32},
    {Private8007, AsNumber, MDValueUInt32},
    {AudioRefLevel, AsNumber, MDValueInt8},
    {PaddingBits, AsNumber, MDValueInt16},
    {SampledXOffset, AsNumber, MDValueInt32},
    {SampledYOffset, AsNumber, MDValueInt32},
    {DisplayXOffset, AsNumber, MDValueInt32},
    {DisplayYOffset, AsNumber, MDValueInt32},
    {ImageStartOffset, AsNumber, MDValueInt32},
    {StoredF2Offset, AsNumber, MDValueInt32},
    {Duration, AsNumber, MDValueInt64},
    {StartPosition, AsNumber, MDValueInt64},
    {StartTimecode, AsNumber, MDValueInt64},
    {Origin, AsNumber, MDValueInt64},
    {LastModifiedDate, AsNumber, MDValueTimestamp},
    {ModificationDate, AsNumber, MDValueTimestamp},
    {PackageModifiedDate, AsNumber, MDValueTimestamp},
    {PackageCreationDate, AsNumber, MDValueTimestamp},
    {SampleRate, AsNumber, MDValueRational},
    {AspectRatio, AsNumber, MDValueRational},
    {AudioSamplingRate, AsNumber, MDValueRational},
    {EditRate, AsNumber, MDValueRational},
    {GenerationUID, AsUUID},
    {DataDefinition, AsUUID},
    {EssenceContainer, AsUUID},
    {PictureEssenceCoding, AsUUID},
    {TransferCharacteristic, AsUUID},
    {ColorPrimaries, AsUUID},
    {ContentStorage, AsUUID},
    {OperationalPattern, AsUUID},
    {ProductUID, AsUUID},
    {ThisGenerationUID, AsUUID},
    {InstanceUID, AsUUID},
    {Descriptor, AsUUID},
    {Sequence, AsUUID},
    {StructuralComponents, AsUUIDArray},
    {Packages, AsUUIDArray},
    {EssenceContainerData, AsUUIDArray},
    {Identifications, AsUUIDArray},
    {EssenceContainers, AsUUIDArray},
    {DMSchemes, AsUUIDArray},
    {SubDescriptorUIDs, AsUUIDArray},
    {Tracks, AsUUIDArray},
    {Private8080, AsUUIDArray},
    {SourcePackageID, AsUmid},
    {LinkedPackageUID, AsUmid},
    {PackageUID, AsUmid},
    {CompanyName, AsString},
    {ProductName, AsString},
    {VersionString, AsString},
    {SignalStandard, AsBytes},
    {VideoLineMap, AsIntBatch},
    {ChannelStatusMode, AsByteVectorBatch},
    {FixedChannelStatusData, AsByteVectorBatch},
    {PixelLayout, AsPixelLayout},
};

constexpr uint32_t kBatchHeaderSize = 8;  // count and item size, u32 each
constexpr uint32_t kIntSize = 4;
constexpr uint32_t kPixelLayoutPairs = 8;
constexpr uint32_t kPixelLayoutSize = kPixelLayoutPairs * sizeof(tagRGBALayout);

const TagType* FindTagType(uint32_t tag) {
    const auto found = std::find_if(std::begin(kTagTypes), std::end(kTagTypes),
                                    [tag](const TagType& entry) { return entry.tag == tag; });
    return found == std::end(kTagTypes) ? nullptr : found;
}

// The batch header of an item of `length` bytes whose items must fill the rest exactly.
bool ReadBatchHeader(ParseMetaData& cursor, uint32_t length, uint32_t* count, uint32_t* size) {
    if (length < kBatchHeaderSize || !cursor.ReadUInt32(count) || !cursor.ReadUInt32(size)) {
        return false;
    }
    return uint64_t{*count} * *size == length - kBatchHeaderSize;
}

CUSharedPtr<CUObject> ReadIntBatch(ParseMetaData& cursor, uint32_t length) {
    uint32_t count = 0;
    uint32_t size = 0;
    if (!ReadBatchHeader(cursor, length, &count, &size)) return nullptr;
    // The values are read as 32-bit whatever the item size says; more than the data holds
    // cannot be read.
    if (count > cursor.Remaining() / kIntSize) return nullptr;
    CUSharedPtr<CUVector<int>> values = CUCreate<CUVector<int>>();
    if (!values) return nullptr;
    values->reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        int32_t value = 0;
        if (!cursor.ReadInt32(&value)) return nullptr;
        values->push_back(value);
    }
    return values;
}

CUSharedPtr<CUObject> ReadByteVectorBatch(ParseMetaData& cursor, uint32_t length) {
    uint32_t count = 0;
    uint32_t size = 0;
    if (!ReadBatchHeader(cursor, length, &count, &size)) return nullptr;
    // Empty items would let eight bytes announce four billion vectors.
    if (size == 0 && count != 0) return nullptr;
    CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
    if (!array) return nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        CUSharedPtr<CUVector<unsigned char>> item = cursor.ReadBytes(size);
        if (!item) return nullptr;
        array->AddObject(item);
    }
    return array;
}

CUSharedPtr<CUObject> ReadPixelLayout(ParseMetaData& cursor, uint32_t length) {
    CUSharedPtr<CUVector<tagRGBALayout>> layout = CUCreate<CUVector<tagRGBALayout>>();
    if (!layout || length != kPixelLayoutSize) return layout;
    for (uint32_t i = 0; i < kPixelLayoutPairs; ++i) {
        uint8_t pair[sizeof(tagRGBALayout)];
        if (!cursor.ReadInto(pair, sizeof pair)) break;
        layout->push_back(tagRGBALayout{pair[0], pair[1]});
    }
    return layout;
}

}  // namespace

CUSharedPtr<CUObject> STMetadataSets::GetValue(uint32_t tag) {
    CUAutoLock guard(this);
    const TagType* entry = FindTagType(tag);
    LocalSetItem item;
    if (!entry || !FindItem(tag, &item)) return nullptr;
    CUSharedPtr<ParseMetaData> cursor = GetItem(tag);
    if (!cursor) return nullptr;
    try {
        switch (entry->type) {
            case AsNumber: {
                if (item.length != MDValue::ByteCountOfKind(entry->kind)) return nullptr;
                CUSharedPtr<CUMemoryStream> bytes =
                    CUMemoryStream::CreateFromStream(data, CURange{item.offset, item.length});
                return CUCreate<MDValue>(entry->kind, bytes);
            }
            case AsUUID:
                return item.length == MxfUUID::kSize ? cursor->ReadUUID() : nullptr;
            case AsUUIDArray:
                return cursor->ReadUUIDArray();
            case AsUmid: {
                // The item's length decides the form, so that a stray length byte in the value
                // cannot make the read run into the next item.
                if (item.length != UMID::kBasicLength && item.length != UMID::kExtendedLength) {
                    return nullptr;
                }
                uint8_t bytes[UMID::kExtendedLength];
                CUSharedPtr<UMID> umid = CUCreate<UMID>();
                if (!umid || !cursor->ReadInto(bytes, item.length) ||
                    umid->Set(bytes, item.length) != 0) {
                    return nullptr;
                }
                return umid;
            }
            case AsString: {
                if (item.length == 0 || item.length % 2 != 0) return nullptr;
                CUSharedPtr<CUVector<unsigned char>> bytes = cursor->ReadBytes(item.length);
                if (!bytes) return nullptr;
                return CUCreate<CUStringWin>(bytes->data(), bytes->size(), CUStringEncodingUTF16);
            }
            case AsBytes:
                return cursor->ReadBytes(item.length);
            case AsIntBatch:
                return ReadIntBatch(*cursor, item.length);
            case AsByteVectorBatch:
                return ReadByteVectorBatch(*cursor, item.length);
            case AsPixelLayout:
                return ReadPixelLayout(*cursor, item.length);
        }
    } catch (const std::bad_alloc&) {
    }
    return nullptr;
}

#include "clipmodel/CMBXAnalyzeSystemItemData.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "clipmodel/SystemItemKeys.h"
#include "foundation/CUNumber.h"
#include "foundation/CUVector.h"
#include "mxf/MXFLabels.h"

namespace {

namespace key = system_item_key;
namespace pack = system_item_pack;
using IndexVector = CUVector<unsigned int>;

// Bytes of the timecode part of a stamp; the date part follows it in a creation stamp.
constexpr uint32_t TimecodePartSize = 4;
constexpr uint8_t TimeZoneMask = 0x1F;
constexpr uint16_t FirstYear = 2000;
// An item header in the package metadata: a u8 tag and a u16 length.
constexpr uint64_t ItemHeaderSize = 3;
// BER: below this the byte is the length; 0x80 + n announces n length bytes.
constexpr uint8_t BERLongForm = 0x80;
constexpr unsigned BERMaxLengthBytes = 4;

// A read position over bytes that never leaves them.
struct Cursor {
    const uint8_t* bytes;
    uint64_t size;
    uint64_t position = 0;

    uint64_t Remaining() const { return size - position; }
    // Copies up to `count` bytes and moves past them; gives how many were copied.
    uint64_t Take(uint8_t* out, uint64_t count) {
        const uint64_t n = std::min(count, Remaining());
        if (n) std::memcpy(out, bytes + position, n);
        position += n;
        return n;
    }
    bool U8(uint8_t& out) { return Take(&out, 1) == 1; }
};

uint8_t Digits(unsigned tens, unsigned units) {
    return static_cast<uint8_t>(tens * 10 + units);
}

bool Bit(uint8_t byte, unsigned bit) {
    return (byte >> bit) & 1;
}

void DecodeTimecodePart(const uint8_t* b, TimecodeInfoEX& t) {
    t.colorFrame = Bit(b[0], 7);
    t.dropFrame = Bit(b[0], 6);
    t.frames = Digits((b[0] >> 4) & 0x3, b[0] & 0xF);
    t.secondsFlag = Bit(b[1], 7);
    t.seconds = Digits((b[1] >> 4) & 0x7, b[1] & 0xF);
    t.minutesFlag = Bit(b[2], 7);
    t.minutes = Digits((b[2] >> 4) & 0x7, b[2] & 0xF);
    t.hoursFlag7 = Bit(b[3], 7);
    t.hoursFlag6 = Bit(b[3], 6);
    t.hours = Digits((b[3] >> 4) & 0x3, b[3] & 0xF);
}

// Gives false when the stamp marks its date invalid.
bool DecodeDatePart(const uint8_t* b, TimecodeInfoEX& t) {
    t.day = Digits(b[0] >> 4, b[0] & 0xF);
    t.month = Digits(b[1] >> 4, b[1] & 0xF);
    t.year = static_cast<uint16_t>(FirstYear + Digits(b[2] >> 4, b[2] & 0xF));
    t.timeZone = b[3] & TimeZoneMask;
    return (b[3] & mxf_system_item::DateInvalid) == 0;
}

// The 16 bytes of a stamp whose type byte says `type`, or false.
bool ReadStamp(CUMemoryStream& stream, uint32_t typeOffset, uint32_t stampOffset, uint8_t type,
               uint8_t* stamp) {
    uint8_t found = 0;
    return stream.Read(&found, 1, typeOffset, CUStreamOriginBegin) == 1 && found == type &&
           stream.Read(stamp, mxf_system_item::StampSize, stampOffset, CUStreamOriginBegin) ==
               mxf_system_item::StampSize;
}

void Store(CUMutableDictionary& metadata, const char* name, const CUSharedPtr<CUObject>& value) {
    if (!value) return;
    if (auto text = CUCreate<CUStringWin>(name)) metadata.SetObjectForKey(value, text);
}

template <class T>
void StoreNumber(CUMutableDictionary& metadata, const char* name, T value) {
    Store(metadata, name, CUCreate<CUNumberConcrete<T>>(value));
}

uint16_t U16(uint8_t high, uint8_t low) {
    return static_cast<uint16_t>(high << 8 | low);
}

uint32_t U32(const uint8_t* b) {
    return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3];
}

uint8_t Bits(uint8_t byte, unsigned high, unsigned low) {
    return static_cast<uint8_t>((byte >> low) & ((1u << (high - low + 1)) - 1));
}

void DecodePack(CUMutableDictionary& m, const uint8_t* p) {
    const uint8_t* d = p + 1;  // b1 to b4
    switch (p[0]) {
        case pack::Focus: {
            const uint32_t raw = U32(d);
            const uint8_t mode = raw == pack::FocusNone       ? pack::FocusModeNone
                                 : raw == pack::FocusMarkerFE ? pack::FocusModeMarkerFE
                                 : raw == pack::FocusMarkerFF ? pack::FocusModeMarkerFF
                                                              : pack::FocusModeValue;
            if (mode == pack::FocusModeValue)
                StoreNumber(m, key::FocusValue, std::bit_cast<float>(raw));
            StoreNumber(m, key::FocusMode, mode);
            break;
        }
        case pack::Zoom:
            StoreNumber(m, key::ZoomFocalLen, U16(d[0], d[1]));
            StoreNumber(m, key::ZoomElectricZoom, U16(d[2], d[3]));
            break;
        case pack::Lens:
            StoreNumber(m, key::LensFocusMode, Bits(d[0], 7, 6));
            StoreNumber(m, key::LensImageStabilizer, Bits(d[0], 5, 4));
            StoreNumber(m, key::LensApertureMode, Bits(d[0], 3, 3));
            break;
        case pack::ShutterSpeed:
            StoreNumber(m, key::ShutterSpeed1, U16(d[0], d[1]));
            StoreNumber(m, key::ShutterSpeed2, U16(d[2], d[3]));
            break;
        case pack::ShutterValue:
            StoreNumber(m, key::ShutterValueMode, Bits(d[0], 7, 6));
            StoreNumber(m, key::ShutterValue1, U16(d[1], d[2]));
            StoreNumber(m, key::ShutterValue2, d[3]);
            break;
        case pack::FNumber:
            StoreNumber(m, key::FNumber1, U16(d[0], d[1]));
            StoreNumber(m, key::FNumber2, U16(d[2], d[3]));
            break;
        case pack::WhiteBalance:
            StoreNumber(m, key::WBMode, Bits(d[0], 7, 5));
            StoreNumber(m, key::WBPreset, Bits(d[0], 4, 0));
            StoreNumber(m, key::WBAccurate, Bits(d[1], 7, 7));
            StoreNumber(m, key::WBColorTmp, U16(Bits(d[1], 6, 0), d[2]));
            StoreNumber(m, key::WBIsotmpLineIndex, d[3]);
            break;
        case pack::Gain:
            StoreNumber(m, key::GainMode, Bits(d[0], 7, 7));
            StoreNumber(m, key::GainMasterGain, Bits(d[0], 6, 0));
            StoreNumber(m, key::GainNDFilter, d[1]);
            StoreNumber(m, key::GainMasterGainDelta, Bits(d[2], 7, 4));
            break;
        case pack::Status:
            StoreNumber(m, key::IRStatus, Bits(d[0], 7, 6));
            StoreNumber(m, key::StatusPackType, Bits(d[0], 3, 0));
            StoreNumber(m, key::HighSensitivityMode, Bits(d[1], 0, 0));
            break;
        case pack::ISOSpeed:
            StoreNumber(m, key::ISOSpeed, U32(d));
            break;
        case pack::TNumber:
            StoreNumber(m, key::TNumber1, U16(d[0], d[1]));
            StoreNumber(m, key::TNumber2, U16(d[2], d[3]));
            break;
        case pack::Gain2:
            StoreNumber(m, key::Gain2Mode, Bits(d[0], 7, 7));
            StoreNumber(m, key::Gain2MasterGainDelta, Bits(d[0], 6, 4));
            StoreNumber(m, key::Gain2MasterGain, U16(Bits(d[0], 3, 0), d[1]));
            StoreNumber(m, key::Gain2NDFilter, U16(d[2], d[3]));
            break;
        case pack::VFXTilt:
            StoreNumber(m, key::VFXTilt, U16(d[0], d[1]));
            break;
        case pack::VFXRoll:
            StoreNumber(m, key::VFXRoll, U16(d[0], d[1]));
            break;
        case pack::Zoom2:
            StoreNumber(m, key::Zoom2FocalLenNo35Cnv, U32(d));
            break;
        case pack::Zoom3:
            StoreNumber(m, key::Zoom3FocalLen, U32(d));
            break;
        default:
            break;
    }
}

// The vector already stored under `name`, else a new one.
CUSharedPtr<IndexVector> VectorFor(CUMutableDictionary& metadata, const char* name) {
    if (auto text = CUCreate<CUStringWin>(name)) {
        CUSharedPtr<IndexVector> found(metadata.ObjectForKey(text));
        if (found) return found;
    }
    return CUCreate<IndexVector>();
}

void Append(CUMutableDictionary& metadata, const char* offsetName, const char* sizeName,
            uint32_t offset, uint32_t size) {
    const auto offsets = VectorFor(metadata, offsetName);
    const auto sizes = VectorFor(metadata, sizeName);
    if (!offsets || !sizes) return;
    offsets->push_back(offset);
    sizes->push_back(size);
    Store(metadata, offsetName, offsets);
    Store(metadata, sizeName, sizes);
}

void DecodeStructureEntry(CUMutableDictionary& m, const uint8_t* e) {
    const uint32_t offset = U32(e + 1);
    const uint32_t size = U32(e + 5);
    switch (e[0]) {
        case mxf_system_item::StructureSPS:
            StoreNumber(m, key::SPSOffset, offset);
            StoreNumber(m, key::SPSSize, size);
            break;
        case mxf_system_item::StructurePPS:
            Append(m, key::PPSOffset, key::PPSSize, offset, size);
            break;
        case mxf_system_item::StructureSlice:
            Append(m, key::SliceOffset, key::SliceSize, offset, size);
            break;
        case mxf_system_item::StructureVPS:
            StoreNumber(m, key::VPSOffset, offset);
            StoreNumber(m, key::VPSSize, size);
            break;
        case mxf_system_item::StructureTile:
            // Tiles have no key of their own; they are only reported.
            std::printf("Tile pack %d - %d\n", static_cast<int>(offset), static_cast<int>(size));
            break;
        default:
            break;
    }
}

// One byte below 0x80, or 0x80 + n (n 1 to 4) and n big-endian bytes; any other form fails.
bool ReadBERLength(Cursor& c, uint64_t& length) {
    uint8_t first = 0;
    if (!c.U8(first)) return false;
    if (first < BERLongForm) {
        length = first;
        return true;
    }
    const unsigned n = first - BERLongForm;
    if (n < 1 || n > BERMaxLengthBytes || c.Remaining() < n) return false;
    length = 0;
    for (unsigned i = 0; i < n; ++i) length = length << 8 | c.bytes[c.position++];
    return true;
}

bool IsKey(const uint8_t* found, const mxf_label::Label& label) {
    return std::equal(label.begin(), label.end(), found);
}

}  // namespace

CMBXAnalyzeSystemItemData::CMBXAnalyzeSystemItemData(CUSharedPtr<CUMemoryStream> stream)
    : stream(std::move(stream)), timecode(CUCreate<TimecodeInfoEX>()) {}

bool CMBXAnalyzeSystemItemData::Analyze() {
    using namespace mxf_system_item;
    metadata = CUCreate<CUMutableDictionary>();
    if (!stream || !metadata) return false;

    const uint64_t size = stream->size;
    bool stampDecoded = false;
    uint8_t stamp[StampSize];
    if (size >= CreationStamp + StampSize &&
        ReadStamp(*stream, CreationStampType, CreationStamp, StampDateTime, stamp)) {
        if (auto date = CUCreate<TimecodeInfoEX>()) {
            DecodeTimecodePart(stamp, *date);
            if (DecodeDatePart(stamp + TimecodePartSize, *date)) {
                Store(*metadata, system_item_key::RecDateTime, date);
                stampDecoded = true;
            }
        }
    }
    if (size >= PackSize && ReadStamp(*stream, UserStampType, UserStamp, StampTimecode, stamp)) {
        if (!timecode) timecode = CUCreate<TimecodeInfoEX>();
        if (timecode) {
            DecodeTimecodePart(stamp, *timecode);
            stampDecoded = true;
        }
    }

    bool itemDecoded = false;
    if (size >= PackSize + ItemHeaderSize) {
        uint64_t position = PackSize;
        for (;;) {
            uint8_t header[ItemHeaderSize];
            const uint64_t got = stream->Read(header, ItemHeaderSize,
                                              static_cast<int64_t>(position), CUStreamOriginBegin);
            // A truncated header leaves nothing behind it to read.
            if (got < ItemHeaderSize) break;
            position += got;
            const uint16_t length = U16(header[1], header[2]);
            if (length == 0) continue;
            std::unique_ptr<uint8_t[]> value(new (std::nothrow) uint8_t[length]);
            if (!value) break;
            const uint64_t read = stream->Read(value.get(), length, static_cast<int64_t>(position),
                                               CUStreamOriginBegin);
            position += read;
            if (header[0] == AcquisitionItemTag) itemDecoded = ParseMetadataItem(value.get(), read);
        }
    }
    return stampDecoded || itemDecoded;
}

bool CMBXAnalyzeSystemItemData::ParseMetadataItem(const uint8_t* bytes, uint64_t size) {
    if (!metadata || !bytes) return false;
    CUMutableDictionary& m = *metadata;
    bool result = false;
    Cursor c{bytes, size};
    for (;;) {
        if (c.Remaining() < mxf_label::Label{}.size()) break;
        const uint8_t* found = bytes + c.position;
        c.position += mxf_label::Label{}.size();
        uint64_t length = 0;
        if (!ReadBERLength(c, length)) break;

        if (IsKey(found, mxf_label::AcquisitionPackList)) {
            uint8_t count = 0;
            if (!c.U8(count)) continue;
            result = true;
            for (unsigned i = 0; i < count; ++i) {
                // A short read leaves the rest zero: a focus pack without a value.
                uint8_t packBytes[pack::PackSize] = {};
                c.Take(packBytes, pack::PackSize);
                DecodePack(m, packBytes);
            }
        } else if (IsKey(found, mxf_label::PictureStructure) ||
                   IsKey(found, mxf_label::PictureStructure2)) {
            uint8_t displayOffset = 0, count = 0;
            if (!c.U8(displayOffset)) continue;
            StoreNumber(m, system_item_key::DisplayOffset, displayOffset);
            if (!c.U8(count)) continue;
            result = true;
            for (unsigned i = 0; i < count; ++i) {
                uint8_t entry[pack::StructureEntrySize] = {};
                c.Take(entry, pack::StructureEntrySize);
                DecodeStructureEntry(m, entry);
            }
        } else if (length <= c.Remaining()) {
            // A length running past the item is not trusted: the next key is read right here.
            c.position += length;
        }
    }
    return result;
}

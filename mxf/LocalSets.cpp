#include "mxf/LocalSets.h"

#include <cstdio>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "foundation/CUAutoLock.h"
#include "mxf/MXFError.h"

namespace {

// Byte 5 of a local-set key carries the two forms.
constexpr uint32_t kCodingByte = 5;
constexpr uint8_t kTagCodingMask = 0x18;
constexpr uint8_t kLengthCodingMask = 0x60;

// The object identifier form: seven value bits a byte, the top bit set on all but the last.
constexpr uint8_t kBERTagMore = 0x80;
constexpr uint8_t kBERTagBits = 0x7F;

CUSharedPtr<ParseMetaData> MakeParser() {
    CUSharedPtr<ParseMetaData> parser = CUCreate<ParseMetaData>();
    if (!parser) throw "LocalSets Init Error";
    return parser;
}

}  // namespace

LocalSets::LocalSets() : parser(MakeParser()) {}

LocalSets::LocalSets(const KLVPacket& packet) : KLVPacket(packet), parser(MakeParser()) {}

uint32_t LocalSets::TagCodingOfKey(const ULKey& key) {
    switch (key.bytes[kCodingByte] & kTagCodingMask) {
        case 0x00:
            return LocalSetTag1Byte;
        case 0x08:
            return LocalSetTagBER;
        case 0x10:
            return LocalSetTag2Bytes;
        default:
            return LocalSetTag4Bytes;
    }
}

uint32_t LocalSets::LengthCodingOfKey(const ULKey& key) {
    switch (key.bytes[kCodingByte] & kLengthCodingMask) {
        case 0x00:
            return LocalSetLengthBER;
        case 0x20:
            return LocalSetLength1Byte;
        case 0x40:
            return LocalSetLength2Bytes;
        default:
            return LocalSetLength4Bytes;
    }
}

bool LocalSets::IsValidKey() const {
    return KLVKindFamily(GetKind()) == KLVKindLocalSet;
}

uint32_t LocalSets::Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) {
    if (!stream) return MXFErrorArgument;
    CUAutoLock guard(parser.Get());
    parser->SetStream(nullptr);
    items.clear();
    data = nullptr;
    // Item offsets are 32-bit; a BER length never exceeds that, so a longer value is not a set.
    if (length > std::numeric_limits<uint32_t>::max()) return MXFErrorParse;
    // A length of 0 gives no copy, and so an empty set cannot be had.
    data = CUMemoryStream::CreateFromStream(
        stream, CURange{static_cast<int64_t>(offset), static_cast<int64_t>(length)});
    if (!data) return MXFErrorMemory;
    parser->SetStream(data);
    bool read = false;
    try {
        read = ReadItems();
    } catch (const std::bad_alloc&) {
    }
    if (!read) {
        items.clear();
        data = nullptr;
        parser->SetStream(nullptr);
        return MXFErrorParse;
    }
    return MXFErrorNone;
}

bool LocalSets::ReadItems() {
    items.clear();
    tagCoding = TagCodingOfKey(key);
    lengthCoding = LengthCodingOfKey(key);
    parser->SetPosition(0);
    const uint64_t end = parser->StreamSize();
    while (parser->GetPosition() < end) {
        uint32_t tag = 0;
        uint64_t itemLength = 0;
        if (!ReadTag(&tag) || !ReadItemLength(&itemLength)) return false;
        const uint64_t at = parser->GetPosition();  // not behind `end`: the reads succeeded
        // A duplicate tag is not tolerated: which of the two values counts cannot be told.
        if (!items
                 .emplace(tag, LocalSetItem{static_cast<uint32_t>(at),
                                            static_cast<uint32_t>(itemLength)})
                 .second) {
            return false;
        }
        if (itemLength > end - at) return false;
        parser->SetPosition(at + itemLength);
    }
    return true;
}

bool LocalSets::ReadTag(uint32_t* out) {
    switch (tagCoding) {
        case LocalSetTag1Byte: {
            uint8_t tag = 0;
            if (!parser->ReadUInt8(&tag)) return false;
            *out = tag;
            return true;
        }
        case LocalSetTag2Bytes: {
            uint16_t tag = 0;
            if (!parser->ReadUInt16(&tag)) return false;
            *out = tag;
            return true;
        }
        case LocalSetTag4Bytes:
            return parser->ReadUInt32(out);
        default: {
            uint32_t tag = 0;
            for (uint32_t i = 0; i < kMaxBERTagBytes; ++i) {
                uint8_t byte = 0;
                if (!parser->ReadUInt8(&byte)) return false;
                tag = (tag << 7) | (byte & kBERTagBits);
                if (!(byte & kBERTagMore)) {
                    *out = tag;
                    return true;
                }
            }
            return false;  // the tag does not end within its four bytes
        }
    }
}

bool LocalSets::ReadItemLength(uint64_t* out) {
    switch (lengthCoding) {
        case LocalSetLength1Byte: {
            uint8_t value = 0;
            if (!parser->ReadUInt8(&value)) return false;
            *out = value;
            return true;
        }
        case LocalSetLength2Bytes: {
            uint16_t value = 0;
            if (!parser->ReadUInt16(&value)) return false;
            *out = value;
            return true;
        }
        case LocalSetLength4Bytes: {
            uint32_t value = 0;
            if (!parser->ReadUInt32(&value)) return false;
            *out = value;
            return true;
        }
        default:
            return parser->ReadBERLength(out);
    }
}

CUSharedPtr<ParseMetaData> LocalSets::GetItem(uint32_t tag) {
    CUAutoLock guard(parser.Get());
    const auto found = items.find(tag);
    if (found == items.end() || !data || found->second.offset > parser->StreamSize()) {
        return nullptr;
    }
    parser->SetPosition(found->second.offset);
    return parser;
}

bool LocalSets::FindItem(uint32_t tag, LocalSetItem* out) const {
    const auto found = items.find(tag);
    if (found == items.end()) return false;
    if (out) *out = found->second;
    return true;
}

void LocalSets::Lock() {
    parser->Lock();
}

void LocalSets::Unlock() {
    parser->Unlock();
}

CUSharedPtr<CUStringWin> LocalSets::Description() const {
    CUAutoLock guard(parser.Get());
    std::string text = "{\n";
    std::vector<uint8_t> bytes;
    char part[16];
    for (const auto& [tag, item] : items) {
        std::snprintf(part, sizeof part, "\t%08x = ", tag);
        text += part;
        bytes.assign(item.length, 0);
        if (data && item.length) {
            bytes.resize(data->Read(bytes.data(), item.length, item.offset, CUStreamOriginBegin));
        }
        for (uint8_t byte : bytes) {
            std::snprintf(part, sizeof part, "%02x", byte);
            text += part;
        }
        text += "\n";
    }
    text += "}";
    return CUCreate<CUStringWin>(text.c_str());
}

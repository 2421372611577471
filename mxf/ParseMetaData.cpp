#include "mxf/ParseMetaData.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "foundation/CUAutoLock.h"

namespace {

// The first byte of a long-form BER length: the top bit set, the low seven bits count the bytes.
constexpr uint8_t kBERLongForm = 0x80;
constexpr uint8_t kBERCountMask = 0x7F;

constexpr uint32_t kBatchHeaderSize = 8;  // count and item size, u32 each
constexpr uint64_t kUUIDItemSize = MxfUUID::kSize;

// Byte 12 of a UMID is its length byte: 0x33 announces the 64-byte extended form.
constexpr uint32_t kUMIDLengthByte = 12;
constexpr uint8_t kUMIDExtendedMark = 0x33;

constexpr uint32_t kTimestampSize = 8;
constexpr uint32_t kRationalSize = 8;

}  // namespace

ParseMetaData::ParseMetaData(CUSharedPtr<CUStream> source) : stream(std::move(source)) {}

void ParseMetaData::SetStream(CUSharedPtr<CUStream> source) {
    CUAutoLock guard(this);
    stream = std::move(source);
    position = 0;
}

uint64_t ParseMetaData::StreamSize() const {
    if (!stream) return 0;
    CUAutoLock guard(stream->lock.Get());
    return stream->size;
}

uint64_t ParseMetaData::Remaining() const {
    const uint64_t size = StreamSize();
    return position < size ? size - position : 0;
}

bool ParseMetaData::ReadInto(void* buffer, uint64_t count) {
    CUAutoLock guard(this);
    if (!stream || (!buffer && count)) return false;
    if (count == 0) return true;
    // Stream offsets are signed; a cursor beyond them addresses nothing.
    if (position > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return false;
    uint64_t got = 0;
    try {
        got = stream->Read(buffer, count, static_cast<int64_t>(position), CUStreamOriginBegin);
    } catch (...) {
        return false;  // a stream that cannot read at all throws its code
    }
    if (got != count) return false;
    position += count;
    return true;
}

template <class T>
bool ParseMetaData::ReadBigEndian(T* out) {
    static_assert(std::is_integral_v<T>);
    if (!out) return false;
    *out = 0;
    uint8_t bytes[sizeof(T)];
    if (!ReadInto(bytes, sizeof bytes)) return false;
    std::make_unsigned_t<T> value = 0;
    for (uint8_t byte : bytes) value = static_cast<std::make_unsigned_t<T>>((value << 8) | byte);
    *out = static_cast<T>(value);
    return true;
}

bool ParseMetaData::ReadUInt8(uint8_t* out) {
    return ReadBigEndian(out);
}
bool ParseMetaData::ReadUInt16(uint16_t* out) {
    return ReadBigEndian(out);
}
bool ParseMetaData::ReadUInt32(uint32_t* out) {
    return ReadBigEndian(out);
}
bool ParseMetaData::ReadUInt64(uint64_t* out) {
    return ReadBigEndian(out);
}
bool ParseMetaData::ReadInt8(int8_t* out) {
    return ReadBigEndian(out);
}
bool ParseMetaData::ReadInt16(int16_t* out) {
    return ReadBigEndian(out);
}
bool ParseMetaData::ReadInt32(int32_t* out) {
    return ReadBigEndian(out);
}
bool ParseMetaData::ReadInt64(int64_t* out) {
    return ReadBigEndian(out);
}

CUSharedPtr<MxfUUID> ParseMetaData::ReadUUID() {
    CUAutoLock guard(this);
    CUSharedPtr<MxfUUID> uuid = CUCreate<MxfUUID>();
    if (!uuid || !ReadInto(uuid->bytes.data(), MxfUUID::kSize)) return nullptr;
    return uuid;
}

CUSharedPtr<CUMutableArray> ParseMetaData::ReadUUIDArray(uint64_t limit) {
    CUAutoLock guard(this);
    const uint64_t start = position;
    uint32_t count = 0;
    uint32_t itemSize = 0;
    if (!ReadUInt32(&count) || !ReadUInt32(&itemSize)) {
        position = start;
        return nullptr;
    }
    CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
    if (!array) {
        position = start;
        return nullptr;
    }
    if (count == 0 || itemSize != kUUIDItemSize) return array;
    // Items past the limit or the stream's end cannot be read; stopping there leaves out exactly
    // the items that reading on would leave out, without a round for each of them.
    const uint64_t budget = limit < kBatchHeaderSize ? 0 : limit - kBatchHeaderSize;
    uint64_t readable = std::min(Remaining(), budget) / kUUIDItemSize;
    if (readable > count) readable = count;
    for (uint64_t i = 0; i < readable; ++i) {
        uint8_t bytes[MxfUUID::kSize];
        if (!ReadInto(bytes, sizeof bytes)) break;
        CUSharedPtr<MxfUUID> uuid = CUCreate<MxfUUID>(bytes);
        if (!uuid) continue;
        try {
            array->AddObject(uuid);
        } catch (const std::bad_alloc&) {
        }
    }
    return array;
}

CUSharedPtr<UMID> ParseMetaData::ReadUMID() {
    CUAutoLock guard(this);
    const uint64_t start = position;
    uint8_t bytes[UMID::kExtendedLength];
    uint32_t stored = UMID::kBasicLength;
    if (!ReadInto(bytes, UMID::kBasicLength)) return nullptr;
    if (bytes[kUMIDLengthByte] == kUMIDExtendedMark) {
        if (!ReadInto(bytes + UMID::kBasicLength, UMID::kExtendedLength - UMID::kBasicLength)) {
            position = start;
            return nullptr;
        }
        stored = UMID::kExtendedLength;
    }
    CUSharedPtr<UMID> umid = CUCreate<UMID>();
    if (!umid || umid->Set(bytes, stored) != 0) {
        position = start;
        return nullptr;
    }
    return umid;
}

bool ParseMetaData::ReadBERLength(uint64_t* out) {
    CUAutoLock guard(this);
    if (!out) return false;
    *out = 0;
    const uint64_t start = position;
    uint8_t first = 0;
    if (!ReadUInt8(&first)) return false;
    if (first < kBERLongForm) {
        *out = first;
        return true;
    }
    const uint32_t count = first & kBERCountMask;
    uint8_t bytes[kMaxBERLengthBytes];
    if (count == 0 || count > kMaxBERLengthBytes || !ReadInto(bytes, count)) {
        position = start;
        return false;
    }
    uint64_t value = 0;
    for (uint32_t i = 0; i < count; ++i) value = (value << 8) | bytes[i];
    *out = value;
    return true;
}

bool ParseMetaData::ReadTimestamp(MXFTimestamp* out) {
    CUAutoLock guard(this);
    if (!out || Remaining() < kTimestampSize) return false;
    uint8_t bytes[kTimestampSize];
    if (!ReadInto(bytes, sizeof bytes)) return false;
    out->year = static_cast<uint16_t>((bytes[0] << 8) | bytes[1]);
    out->month = bytes[2];
    out->day = bytes[3];
    out->hour = bytes[4];
    out->minute = bytes[5];
    out->second = bytes[6];
    out->quarterMilliseconds = bytes[7];
    return true;
}

bool ParseMetaData::ReadRational(MXFRational* out) {
    CUAutoLock guard(this);
    if (!out || Remaining() < kRationalSize) return false;
    const uint64_t start = position;
    MXFRational value;
    if (!ReadInt32(&value.numerator) || !ReadInt32(&value.denominator)) {
        position = start;
        return false;
    }
    *out = value;
    return true;
}

CUSharedPtr<CUVector<unsigned char>> ParseMetaData::ReadBytes(uint64_t count) {
    CUAutoLock guard(this);
    if (!stream || count > Remaining()) return nullptr;
    CUSharedPtr<CUVector<unsigned char>> bytes = CUCreate<CUVector<unsigned char>>();
    if (!bytes) return nullptr;
    try {
        bytes->resize(count);
    } catch (const std::exception&) {
        return nullptr;  // bad_alloc, or a count beyond what a vector can hold
    }
    if (!ReadInto(bytes->data(), count)) return nullptr;
    return bytes;
}

bool ParseMetaData::ReadKeyAndLength(ULKey* key, uint64_t* valueLength) {
    const uint64_t start = position;
    uint8_t bytes[ULKey::kSize];
    if (!ReadInto(bytes, sizeof bytes)) return false;
    if (!ReadBERLength(valueLength)) {
        position = start;
        return false;
    }
    *key = ULKey(bytes);
    return true;
}

bool ParseMetaData::ReadKL(KLVPacket* packet) {
    CUAutoLock guard(this);
    if (!packet) return false;
    const uint64_t start = position;
    ULKey key;
    uint64_t valueLength = 0;
    if (!ReadKeyAndLength(&key, &valueLength)) return false;
    // A triplet cut off by the end of the file still counts as read: the packet keeps what it
    // held, and callers that walk a file stop on its kind (a new packet reads as unknown).
    if (valueLength > Remaining()) return true;
    packet->key = key;
    packet->packetOffset = start;
    packet->length = valueLength;
    packet->valueOffset = position;
    return true;
}

bool ParseMetaData::ReadKLV(KLVPacket* packet) {
    CUAutoLock guard(this);
    if (!packet || !stream) return false;
    const uint64_t start = position;
    ULKey key;
    uint64_t valueLength = 0;
    if (!ReadKeyAndLength(&key, &valueLength)) return false;
    // A value that runs past the end fails here whatever the packet held before: ReadKL would
    // have left it alone, so neither its key nor its length describe this triplet.
    if (valueLength > Remaining()) {
        position = start;
        return false;
    }
    packet->key = key;
    packet->packetOffset = start;
    packet->length = valueLength;
    packet->valueOffset = position;
    if (!packet->IsValidKey() || packet->Parse(stream, position) != 0) {
        position = start;
        return false;
    }
    position += valueLength;
    return true;
}

bool ParseMetaData::ParseValue(KLVPacket* packet) {
    CUAutoLock guard(this);
    if (!packet || !stream || packet->length > Remaining()) return false;
    if (packet->Parse(stream, position) != 0) return false;
    position += packet->length;
    return true;
}

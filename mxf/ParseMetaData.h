// ParseMetaData: a cursor over a stream that reads the big-endian primitives of MXF (and of the
// clip information blocks) at `position`, and the lock that guards that cursor.
//
// Every read goes to the stream at an absolute offset, so several cursors may share one stream.
// A read advances `position` by what it consumed only when it succeeds; a failed read leaves
// `position` where it was unless an operation says otherwise (ReadKL, ReadUUIDArray). Reads
// answer false or a null pointer, never throw: no stream, a short read, a stream that cannot read
// at all and exhaustion all count as failure.
// Threads: each operation takes the lock itself, so one call is atomic; a caller that positions
// and then reads, or reads several values, holds the cursor through CUAutoLock around all of it.
#pragma once

#include <cstdint>

#include "foundation/CUArray.h"
#include "foundation/CURecursiveLock.h"
#include "foundation/CUStream.h"
#include "foundation/CUVector.h"
#include "mxf/KLVPacket.h"
#include "mxf/MxfUUID.h"
#include "mxf/UMID.h"

// A date and time as the file stores it: 8 bytes.
struct MXFTimestamp {
    uint16_t year = 0;
    uint8_t month = 0;
    uint8_t day = 0;
    uint8_t hour = 0;
    uint8_t minute = 0;
    uint8_t second = 0;
    uint8_t quarterMilliseconds = 0;
};

// A rate or a ratio: two big-endian i32.
struct MXFRational {
    int32_t numerator = 0;
    int32_t denominator = 0;
    bool operator==(const MXFRational&) const = default;
};

class ParseMetaData : public CURecursiveLock {
public:
    // The BER form stops at four length bytes: lengths are limited to 32 bits.
    static constexpr uint32_t kMaxBERLengthBytes = 4;

    ParseMetaData() = default;
    explicit ParseMetaData(CUSharedPtr<CUStream> source);
    ParseMetaData(const ParseMetaData&) = delete;
    ParseMetaData& operator=(const ParseMetaData&) = delete;

    // Replaces the stream (null allowed) and puts `position` to 0.
    void SetStream(CUSharedPtr<CUStream> source);
    CUSharedPtr<CUStream> GetStream() const { return stream; }
    uint64_t GetPosition() const { return position; }
    void SetPosition(uint64_t newPosition) { position = newPosition; }
    // The stream's size, 0 without a stream.
    uint64_t StreamSize() const;
    // Bytes from `position` to the stream's size; 0 without a stream or behind the end.
    uint64_t Remaining() const;

    // Big-endian integers; `*out` is 0 on failure. A null `out` fails.
    bool ReadUInt8(uint8_t* out);
    bool ReadUInt16(uint16_t* out);
    bool ReadUInt32(uint32_t* out);
    bool ReadUInt64(uint64_t* out);
    bool ReadInt8(int8_t* out);
    bool ReadInt16(int16_t* out);
    bool ReadInt32(int32_t* out);
    bool ReadInt64(int64_t* out);
    // Exactly `count` raw bytes into `buffer`, or nothing and false.
    bool ReadInto(void* buffer, uint64_t count);

    CUSharedPtr<MxfUUID> ReadUUID();
    // A batch: count and item size as u32, then the items. Null, with `position` back where it
    // was, when the header cannot be read. A count of 0 or an item size other than 16 gives an
    // empty array with `position` behind the header; items that cannot be read are left out.
    // The count comes from the file: a reader of a large stream passes `limit`, the bytes the
    // batch may occupy with its header, and no item is read beyond it.
    CUSharedPtr<CUMutableArray> ReadUUIDArray(uint64_t limit = UINT64_MAX);
    // 32 bytes, or 64 when byte 12 of the first 32 marks an extended UMID. Null when short.
    CUSharedPtr<UMID> ReadUMID();
    // One byte below 0x80, else 0x81..0x84 and that many big-endian length bytes.
    bool ReadBERLength(uint64_t* out);
    // Needs 8 bytes left; `position` unchanged on failure.
    bool ReadTimestamp(MXFTimestamp* out);
    // Numerator then denominator; needs 8 bytes left; `position` unchanged on failure.
    bool ReadRational(MXFRational* out);
    // `count` bytes; null when `count` exceeds what is left. A count of 0 gives an empty vector.
    CUSharedPtr<CUVector<unsigned char>> ReadBytes(uint64_t count);

    // Key and BER length into `packet`. A triplet whose value runs past the end of the stream
    // still succeeds: `position` stays behind the length field and the packet keeps what it held
    // (a new packet thus shows a zero key, KLVKindUnknown). Callers tell the two apart by the kind.
    // A key or length that cannot be read fails with `position` unchanged.
    bool ReadKL(KLVPacket* packet);
    // Key, length and value: the key must satisfy packet->IsValidKey(), the value must lie inside
    // the stream and packet->Parse must give 0. `position` ends behind the value, or stays where
    // it was on any failure.
    bool ReadKLV(KLVPacket* packet);
    // The value of a packet whose key and length were read before, at `position`: it must lie
    // inside the stream and Parse must give 0; `position` then moves behind it, else stays.
    bool ParseValue(KLVPacket* packet);

private:
    // Reads a key and a BER length at `position`, moving it behind both; unchanged on failure.
    bool ReadKeyAndLength(ULKey* key, uint64_t* valueLength);
    template <class T>
    bool ReadBigEndian(T* out);

    // Guarded by this object as a lock.
    uint64_t position = 0;
    CUSharedPtr<CUStream> stream;
};

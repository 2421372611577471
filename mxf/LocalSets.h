// LocalSets: one local set parsed into a table from tag to item: the header metadata sets and
// the index table segments of a file.
//
// The set keeps a private copy of its value, so that items can be read long after the file's
// cursor has moved on, without touching the file. Tag and length forms come from byte 5 of the
// key. A set is all or nothing: a duplicate tag, an item that runs past the value or a tag or
// length that cannot be read fails the whole set and leaves it empty.
// Threads: the set's lock is its `parser` (Lock/Unlock pass to it). GetItem moves that one
// cursor, so whoever reads items holds the set through CUAutoLock for as long as it reads.
// Failures: Parse gives 0, MXFErrorArgument (null stream), MXFErrorMemory (the value could not
// be copied, which includes a value of length 0) or MXFErrorParse. The constructors throw the
// narrow string "LocalSets Init Error" when the cursor cannot be made.
#pragma once

#include <cstdint>
#include <map>

#include "foundation/CULockAbstract.h"
#include "foundation/CUMemoryStream.h"
#include "mxf/KLVPacket.h"
#include "mxf/ParseMetaData.h"

// How a tag is stored, from key byte 5 & 0x18.
enum LocalSetTagCoding : uint32_t {
    LocalSetTagBER = 1,  // object identifier form: seven bits a byte, at most 4 bytes
    LocalSetTag1Byte = 2,
    LocalSetTag2Bytes = 3,
    LocalSetTag4Bytes = 4,
};

// How an item length is stored, from key byte 5 & 0x60.
enum LocalSetLengthCoding : uint32_t {
    LocalSetLengthBER = 1,
    LocalSetLength1Byte = 2,
    LocalSetLength2Bytes = 3,
    LocalSetLength4Bytes = 4,
};

// Where an item's value lies in the set's copy of its value.
struct LocalSetItem {
    uint32_t offset = 0;
    uint32_t length = 0;
};

class LocalSets : public KLVPacket, public CULockAbstract {
public:
    static constexpr uint32_t kMaxBERTagBytes = 4;

    LocalSets();
    // A set for the triplet `packet` was read as: its key and offsets, nothing parsed yet.
    explicit LocalSets(const KLVPacket& packet);
    // A copy would share the cursor and the lock of its source.
    LocalSets(const LocalSets&) = delete;
    LocalSets& operator=(const LocalSets&) = delete;

    static uint32_t TagCodingOfKey(const ULKey& key);
    static uint32_t LengthCodingOfKey(const ULKey& key);

    // Any key of the local-set family.
    bool IsValidKey() const override;
    // Copies `length` bytes at `offset` from `stream` and reads the items.
    uint32_t Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) override;

    // The set's own cursor, standing at the item's value; null when the tag is absent or its
    // offset lies behind the end of the data. Hold the set's lock while using it.
    CUSharedPtr<ParseMetaData> GetItem(uint32_t tag);
    // The item's place in the data; false when the tag is absent.
    bool FindItem(uint32_t tag, LocalSetItem* out) const;
    bool HasItem(uint32_t tag) const { return items.count(tag) != 0; }
    uint64_t ItemCount() const { return items.size(); }
    const std::map<uint32_t, LocalSetItem>& Items() const { return items; }
    CUSharedPtr<CUMemoryStream> GetData() const { return data; }
    uint32_t GetTagCoding() const { return tagCoding; }
    uint32_t GetLengthCoding() const { return lengthCoding; }

    void Lock() override;
    void Unlock() override;

    // "{\n", then "\t%08x = " and the item's bytes in "%02x" with a line end for each item, "}".
    CUSharedPtr<CUStringWin> Description() const override;

protected:
    // Guarded by the set's lock. `parser` itself is made once and never replaced.
    CUSharedPtr<CUMemoryStream> data;
    CUSharedPtr<ParseMetaData> parser;
    uint32_t tagCoding = 0;
    uint32_t lengthCoding = 0;
    std::map<uint32_t, LocalSetItem> items;

private:
    bool ReadItems();
    bool ReadTag(uint32_t* out);
    bool ReadItemLength(uint64_t* out);
};

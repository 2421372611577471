// MDValue: one number, date or rational of a metadata set, kept as its raw big-endian bytes and
// decoded on each access.
//
// Threads: an accessor moves the value's own cursor under its lock, so a value may be read from
// several threads. Failures: the constructor throws the narrow string "MDValue Init Error" when
// it has no bytes; an accessor of another kind than the value's, or a value too short for its
// kind, throws the narrow string "MDValue Cast Error".
#pragma once

#include <cstdint>

#include "foundation/CUMemoryStream.h"
#include "mxf/ParseMetaData.h"

enum MDValueKind : uint32_t {
    MDValueUInt8 = 1,
    MDValueUInt16 = 2,
    MDValueUInt32 = 3,
    MDValueUInt64 = 4,
    MDValueInt8 = 5,
    MDValueInt16 = 6,
    MDValueInt32 = 7,
    MDValueInt64 = 8,
    MDValueTimestamp = 9,
    MDValueRational = 10,
};

class MDValue : public CUObject {
public:
    // Bytes that a value of `kind` occupies; 0 for a kind outside the table.
    static uint32_t ByteCountOfKind(uint32_t kind);

    MDValue(uint32_t valueKind, CUSharedPtr<CUMemoryStream> bytes);
    MDValue(const MDValue&) = delete;
    MDValue& operator=(const MDValue&) = delete;

    uint32_t Kind() const { return kind; }

    uint8_t AsUInt8();
    uint16_t AsUInt16();
    uint32_t AsUInt32();
    uint64_t AsUInt64();
    int8_t AsInt8();
    int16_t AsInt16();
    int32_t AsInt32();
    int64_t AsInt64();
    MXFTimestamp AsTimestamp();
    MXFRational AsRational();

    // The value in the text form of its kind ("%u", "%lld", "%d/%d", the date form).
    CUSharedPtr<CUStringWin> Description() const override;

private:
    // Puts the cursor at the first byte after checking the kind; throws the cast error.
    void Begin(uint32_t wanted);
    template <class T>
    T ReadAs(uint32_t wanted, bool (ParseMetaData::*reader)(T*));

    CUSharedPtr<CUMemoryStream> data;
    uint32_t kind;
    ParseMetaData parser;  // over `data`; also the lock of the accessors
};

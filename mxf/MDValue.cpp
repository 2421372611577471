#include "mxf/MDValue.h"

#include <cinttypes>
#include <cstdio>

#include "foundation/CUAutoLock.h"

namespace {

constexpr const char* kCastError = "MDValue Cast Error";

uint64_t JoinBigEndian(const uint8_t* bytes, uint32_t count) {
    uint64_t value = 0;
    for (uint32_t i = 0; i < count; ++i) value = (value << 8) | bytes[i];
    return value;
}

}  // namespace

uint32_t MDValue::ByteCountOfKind(uint32_t kind) {
    switch (kind) {
        case MDValueUInt8:
        case MDValueInt8:
            return 1;
        case MDValueUInt16:
        case MDValueInt16:
            return 2;
        case MDValueUInt32:
        case MDValueInt32:
            return 4;
        case MDValueUInt64:
        case MDValueInt64:
        case MDValueTimestamp:
        case MDValueRational:
            return 8;
        default:
            return 0;
    }
}

MDValue::MDValue(uint32_t valueKind, CUSharedPtr<CUMemoryStream> bytes)
    : data(std::move(bytes)), kind(valueKind), parser(data) {
    if (!data) throw "MDValue Init Error";
}

void MDValue::Begin(uint32_t wanted) {
    if (kind != wanted) throw kCastError;
    parser.SetPosition(0);
}

template <class T>
T MDValue::ReadAs(uint32_t wanted, bool (ParseMetaData::*reader)(T*)) {
    CUAutoLock guard(&parser);
    Begin(wanted);
    T value{};
    if (!(parser.*reader)(&value)) throw kCastError;
    return value;
}

uint8_t MDValue::AsUInt8() {
    return ReadAs(MDValueUInt8, &ParseMetaData::ReadUInt8);
}
uint16_t MDValue::AsUInt16() {
    return ReadAs(MDValueUInt16, &ParseMetaData::ReadUInt16);
}
uint32_t MDValue::AsUInt32() {
    return ReadAs(MDValueUInt32, &ParseMetaData::ReadUInt32);
}
uint64_t MDValue::AsUInt64() {
    return ReadAs(MDValueUInt64, &ParseMetaData::ReadUInt64);
}
int8_t MDValue::AsInt8() {
    return ReadAs(MDValueInt8, &ParseMetaData::ReadInt8);
}
int16_t MDValue::AsInt16() {
    return ReadAs(MDValueInt16, &ParseMetaData::ReadInt16);
}
int32_t MDValue::AsInt32() {
    return ReadAs(MDValueInt32, &ParseMetaData::ReadInt32);
}
int64_t MDValue::AsInt64() {
    return ReadAs(MDValueInt64, &ParseMetaData::ReadInt64);
}

MXFTimestamp MDValue::AsTimestamp() {
    return ReadAs(MDValueTimestamp, &ParseMetaData::ReadTimestamp);
}

MXFRational MDValue::AsRational() {
    return ReadAs(MDValueRational, &ParseMetaData::ReadRational);
}

CUSharedPtr<CUStringWin> MDValue::Description() const {
    const uint32_t count = ByteCountOfKind(kind);
    uint8_t b[8] = {};
    // Read at an absolute offset: the text leaves the accessors' cursor alone.
    if (count == 0 || data->Read(b, count, 0, CUStreamOriginBegin) < count) {
        return CUObject::Description();
    }
    const uint64_t raw = JoinBigEndian(b, count);
    char text[64];
    switch (kind) {
        case MDValueUInt8:
        case MDValueUInt16:
        case MDValueUInt32:
            std::snprintf(text, sizeof text, "%u", static_cast<unsigned>(raw));
            break;
        case MDValueUInt64:
            std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(raw));
            break;
        case MDValueInt8:
            std::snprintf(text, sizeof text, "%d", static_cast<int8_t>(raw));
            break;
        case MDValueInt16:
            std::snprintf(text, sizeof text, "%d", static_cast<int16_t>(raw));
            break;
        case MDValueInt32:
            std::snprintf(text, sizeof text, "%d", static_cast<int32_t>(raw));
            break;
        case MDValueInt64:
            std::snprintf(text, sizeof text, "%lld", static_cast<long long>(raw));
            break;
        case MDValueTimestamp:
            std::snprintf(text, sizeof text, "%d/%u/%u %u:%u:%u %u", (b[0] << 8) | b[1], b[2], b[3],
                          b[4], b[5], b[6], b[7]);
            break;
        default:  // MDValueRational
            std::snprintf(text, sizeof text, "%d/%d", static_cast<int32_t>(JoinBigEndian(b, 4)),
                          static_cast<int32_t>(JoinBigEndian(b + 4, 4)));
            break;
    }
    return CUCreate<CUStringWin>(text);
}

#include "filters/MetaDataMessage.h"

#include <cstring>
#include <new>

namespace {

void FreeBlocks(uint32_t* number, MetaDataRecord* record) {
    if (record) delete[] record->block;
    delete record;
    delete number;
}

}  // namespace

MetaDataMessage::MetaDataMessage(UINT message, const uint8_t* bytes, uint32_t size)
    : number(new (std::nothrow) uint32_t(message)), record(new (std::nothrow) MetaDataRecord) {
    if (!record || size == 0 || !bytes) return;
    record->block = new (std::nothrow) uint8_t[size];
    if (!record->block) return;
    std::memcpy(record->block, bytes, size);
    record->size = size;
}

MetaDataMessage::~MetaDataMessage() {
    FreeBlocks(number, record);
}

bool MetaDataMessage::Post(HWND hwnd, UINT message) {
    if (!Valid()) return false;
    if (!PostMessageW(hwnd, message, reinterpret_cast<WPARAM>(number),
                      reinterpret_cast<LPARAM>(record)))
        return false;
    number = nullptr;
    record = nullptr;
    return true;
}

uint32_t MetaDataMessageNumber(WPARAM wParam) {
    const auto* number = reinterpret_cast<const uint32_t*>(wParam);
    return number ? *number : 0;
}

const MetaDataRecord* MetaDataMessageRecord(LPARAM lParam) {
    static const MetaDataRecord empty;
    const auto* record = reinterpret_cast<const MetaDataRecord*>(lParam);
    return record ? record : &empty;
}

void FreeMetaDataMessage(WPARAM wParam, LPARAM lParam) {
    FreeBlocks(reinterpret_cast<uint32_t*>(wParam), reinterpret_cast<MetaDataRecord*>(lParam));
}

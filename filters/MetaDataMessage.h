// MetaDataMessage: the heap blocks of a timecode renderer's metadata message, and the one pair of
// functions through which the module and its host agree on how those blocks are freed.
//
// The message carries two pointers: wParam points to a heap u32 holding the message number, and
// lParam to a heap MetaDataRecord, whose `block` points to a heap copy of the frame's metadata
// bytes (`size` of them). A frame without such bytes gives a record with size 0 and a null block,
// so the receiver handles every message the same way: read the record, then free.
//
// Allocator: the C++ runtime's operator new / delete of the module. A receiver frees a message it
// took from its queue (or got back from UnregisterMessageWindow) with FreeMetaDataMessage and with
// nothing else, so that module and host never disagree on the allocator.
// Ownership: a MetaDataMessage owns its three blocks until Post succeeds; from then on they belong
// to the receiver. A message that is never posted, or whose post fails (no window, an unknown
// window, a full queue), frees its blocks when it goes.
// Threads: a MetaDataMessage belongs to one thread; FreeMetaDataMessage may run on any thread.
#pragma once

#include <cstdint>

#include "platform/WindowMessages.h"

// What lParam points to. The padding keeps the pointer at offset 8 on every 64-bit host.
struct MetaDataRecord {
    uint32_t size = 0;
    uint32_t padding = 0;
    uint8_t* block = nullptr;
};
static_assert(sizeof(MetaDataRecord) == 16, "the record is 16 bytes: size, padding, block");

class MetaDataMessage {
public:
    // Allocates the number, the record and a copy of `size` bytes at `bytes` (none for size 0).
    // Valid() tells whether memory sufficed.
    MetaDataMessage(UINT message, const uint8_t* bytes, uint32_t size);
    MetaDataMessage(const MetaDataMessage&) = delete;
    MetaDataMessage& operator=(const MetaDataMessage&) = delete;
    ~MetaDataMessage();

    bool Valid() const { return number && record && (record->size == 0 || record->block); }
    // Posts the message to `hwnd`; on success the blocks pass to the receiver. False for an
    // invalid message or when PostMessageW refuses it (the blocks then stay here).
    bool Post(HWND hwnd, UINT message);

private:
    uint32_t* number = nullptr;
    MetaDataRecord* record = nullptr;
};

// The receiver's side: the message number of a metadata message, and its bytes. Both tolerate
// null parameters (0 and an empty record).
uint32_t MetaDataMessageNumber(WPARAM wParam);
const MetaDataRecord* MetaDataMessageRecord(LPARAM lParam);
// Frees the number, the record and the record's block of a received metadata message. Null
// parameters are allowed.
void FreeMetaDataMessage(WPARAM wParam, LPARAM lParam);

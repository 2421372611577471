// PrimerPack: the file's table from a 16-byte label to the local tag the file uses for it. It is
// kept and handed on; the reader itself recognises local tags by their fixed numbers.
// No lock: filled once by Parse, read-only afterwards. Failures: Parse gives 0 (also for a primer
// whose batch header is unreadable or not of 18-byte items: the table is then empty),
// MXFErrorArgument for a null stream, MXFErrorMemory on exhaustion, MXFErrorParse when an item
// cannot be read, with the table cleared.
#pragma once

#include <cstdint>
#include <map>

#include "mxf/KLVPacket.h"
#include "mxf/MxfUUID.h"

class PrimerPack : public KLVPacket {
public:
    // A u16 tag and a 16-byte label.
    static constexpr uint32_t kItemSize = 18;

    PrimerPack() = default;
    explicit PrimerPack(const KLVPacket& packet) : KLVPacket(packet) {}

    bool IsValidKey() const override;
    uint32_t Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) override;

    // The tag of `label`; false when the primer does not list it.
    bool GetTag(const MxfUUID& label, uint16_t* out) const;
    const std::map<MxfUUID, uint16_t>& Entries() const { return entries; }

    // Each entry as its dotted label and " = %04X\n".
    CUSharedPtr<CUStringWin> Description() const override;

private:
    std::map<MxfUUID, uint16_t> entries;  // a label listed twice keeps its first tag
};

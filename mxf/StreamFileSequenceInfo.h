// StreamFileSequenceInfo: the camera's private set, met among the header metadata, that places a
// file in its recording sequence: its instance, its package and where it starts.
// No lock: filled once while the file opens. Failures: Parse gives MXFErrorParse only for a
// missing stream or exhaustion; an item that breaks its rule ends the walk with what was found.
#pragma once

#include "foundation/CUNumber.h"
#include "mxf/KLVPacket.h"
#include "mxf/MxfUUID.h"
#include "mxf/UMID.h"

class StreamFileSequenceInfo : public KLVPacket {
public:
    StreamFileSequenceInfo() = default;
    explicit StreamFileSequenceInfo(const KLVPacket& packet) : KLVPacket(packet) {}

    bool IsValidKey() const override;
    uint32_t Parse(const CUSharedPtr<CUStream>& stream, uint64_t offset) override;

    CUSharedPtr<MxfUUID> instanceUID;
    CUSharedPtr<UMID> packageUID;
    CUSharedPtr<CUNumber> startTimecode;  // signed 64-bit
    CUSharedPtr<CUNumber> startPosition;  // signed 64-bit
};

// CIFNoCIFMXFWrapper: a clip of several MXF files that the host lists, without clip information.
// Each file opens through its own MXFWrapper; files that fail are left out. The first member is
// the model for the clip's facts; frames are numbered across the members.
// Threads and failures: as CIFWrapperBase.
#pragma once

#include <cstdint>

#include "clipmodel/CIFWrapperBase.h"
#include "clipmodel/CMBXClip.h"

class CIFNoCIFMXFWrapper : public CIFWrapperBase {
public:
    // 1 when at least one listed file opened; null gives 0.
    uint32_t LoadFromClip(CUSharedPtr<CMBXClip> clip);
    bool LoadClipInfo() override;
};

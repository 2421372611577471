// CIFMP4Wrapper: the clip interface over the ordered MP4 members of an MP4-family clip.
// Declared here so that StreamManager can hold one; the MP4 reader fills in the class (members,
// loading from the host's clip, the audio track facts) when it arrives. Until then nothing
// makes one, and StreamManager's MP4 branches answer that the clip did not open.
#pragma once

#include "clipmodel/ICVCProp.h"
#include "foundation/CUObject.h"

class CIFMP4Wrapper : public ICVCProp, public CUObject {
public:
    // Pictures from one sync sample to the next on the video track; read under the stream
    // manager's lock.
    uint32_t videoGopLength = 0;
};

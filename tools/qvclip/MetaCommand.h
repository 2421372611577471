// `qvclip meta`: per frame what the system item says: the timecode, the recording date and time
// and the acquisition metadata by key.
#pragma once

#include "tools/qvclip/ClipOptions.h"
#include "tools/qvclip/Command.h"

namespace qvclip {

class MetaCommand : public Command {
public:
    void Register(CLI::App& parent) override;
    int Run() override;

private:
    ClipOptions clip;
    FrameRange range;
};

}  // namespace qvclip

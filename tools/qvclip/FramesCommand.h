// `qvclip frames`: one row a frame: the index entry, the key frame, the next decodable and random
// access frames, the size of each element and, with --md5, the digests of picture and sound.
#pragma once

#include "tools/qvclip/ClipOptions.h"
#include "tools/qvclip/Command.h"

namespace qvclip {

class FramesCommand : public Command {
public:
    void Register(CLI::App& parent) override;
    int Run() override;

private:
    ClipOptions clip;
    FrameRange range;
    bool md5 = false;
};

}  // namespace qvclip

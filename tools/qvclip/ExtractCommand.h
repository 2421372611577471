// `qvclip extract`: the raw bytes of one element of each chosen frame, concatenated into a file
// ("-" for the standard output).
#pragma once

#include <string>

#include "tools/qvclip/ClipOptions.h"
#include "tools/qvclip/Command.h"

namespace qvclip {

class ExtractCommand : public Command {
public:
    void Register(CLI::App& parent) override;
    int Run() override;

private:
    ClipOptions clip;
    FrameRange range;
    std::string element;
    uint32_t channel = 0;
    std::string out;
};

}  // namespace qvclip

// `qvclip synth`: writes a deterministic test clip of the camera family and prints each path it
// wrote on its own line. Bad options end in std::invalid_argument, failed encoding or writing in
// std::runtime_error, which main turns into one line on stderr.
#pragma once

#include <string>

#include "tools/qvclip/Command.h"
#include "tools/qvclip/synth/SynthOptions.h"

namespace qvclip {

class SynthCommand : public Command {
public:
    void Register(CLI::App& parent) override;
    int Run() override;

private:
    synth::SynthOptions options;
    std::string codec = "h264", size = "1920x1080", rate = "25";
    bool noRip = false;
};

}  // namespace qvclip

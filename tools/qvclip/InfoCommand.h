// `qvclip info`: the facts of a clip, every ICVCProp answer plus clipVersion, chromaFormat,
// bitDepthCode and the member files.
#pragma once

#include "tools/qvclip/ClipOptions.h"
#include "tools/qvclip/Command.h"

namespace qvclip {

class InfoCommand : public Command {
public:
    void Register(CLI::App& parent) override;
    int Run() override;

private:
    ClipOptions clip;
};

}  // namespace qvclip

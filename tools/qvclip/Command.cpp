#include "tools/qvclip/Command.h"

#include <CLI/CLI.hpp>

#include "tools/qvclip/ExtractCommand.h"
#include "tools/qvclip/FramesCommand.h"
#include "tools/qvclip/InfoCommand.h"
#include "tools/qvclip/MetaCommand.h"
#include "tools/qvclip/PlayCommand.h"
#include "tools/qvclip/SynthCommand.h"

namespace qvclip {

bool Command::Chosen() const {
    return app && app->parsed();
}

std::vector<std::unique_ptr<Command>> MakeCommands() {
    std::vector<std::unique_ptr<Command>> commands;
    // Subcommands are added here as they come: info, frames, extract, meta, play, synth.
    commands.push_back(std::make_unique<InfoCommand>());
    commands.push_back(std::make_unique<FramesCommand>());
    commands.push_back(std::make_unique<ExtractCommand>());
    commands.push_back(std::make_unique<MetaCommand>());
    commands.push_back(std::make_unique<PlayCommand>());
    commands.push_back(std::make_unique<SynthCommand>());
    return commands;
}

}  // namespace qvclip

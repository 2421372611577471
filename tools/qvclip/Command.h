// A qvclip subcommand. Each one adds its own CLI11 sub-app with its options in Register and does
// its work in Run, which answers the process's exit code. Failures that reach main as exceptions
// become one line on stderr and exit code 1.
#pragma once

#include <memory>
#include <vector>

namespace CLI {
class App;
}

namespace qvclip {

class Command {
public:
    virtual ~Command() = default;
    // Adds the subcommand to `parent` and keeps the sub-app's pointer for Chosen().
    virtual void Register(CLI::App& parent) = 0;
    virtual int Run() = 0;

    bool Chosen() const;

protected:
    CLI::App* app = nullptr;
};

// Every subcommand of the program, in the order --help lists them.
std::vector<std::unique_ptr<Command>> MakeCommands();

}  // namespace qvclip

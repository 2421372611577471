// qvclip: the command-line host of qvflts.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <string>

#include "tools/qvclip/Command.h"
#include "tools/qvclip/LogOption.h"

int main(int argc, char** argv) {
    CLI::App app{"qvclip: inspect, play and synthesize camera clips with qvflts", "qvclip"};
    app.set_version_flag("--version", std::string("qvclip ") + QV_VERSION);
    app.require_subcommand(0, 1);

    qvclip::LogOption log;
    log.Register(app);

    auto commands = qvclip::MakeCommands();
    for (auto& command : commands) command->Register(app);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }

    try {
        log.Install();
        for (auto& command : commands)
            if (command->Chosen()) return command->Run();
        std::fputs(app.help().c_str(), stdout);
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qvclip: error: %s\n", e.what());
    } catch (...) {
        std::fprintf(stderr, "qvclip: error: unexpected failure\n");
    }
    return 1;
}

#include "tools/qvclip/LogOption.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <stdexcept>

namespace qvclip {

void LogOption::Register(CLI::App& app) {
    app.add_option("--log", folder, "Write the module's log into this folder")
        ->check(CLI::ExistingDirectory);
    app.add_option("--log-level", level, "Highest level written: 1 error, 2 warning, 3 info, 4 debug")
        ->check(CLI::Range(0, 255));
}

void LogOption::Install() const {
    if (folder.empty()) return;
    // Filled in when the log lands.
}

}  // namespace qvclip

#include "tools/qvclip/LogOption.h"

#include <CLI/CLI.hpp>

#include <stdexcept>

#include "foundation/CULog.h"

namespace qvclip {

void LogOption::Register(CLI::App& app) {
    app.add_option("--log", folder, "Write the module's log into this folder")
        ->check(CLI::ExistingDirectory);
    app.add_option("--log-level", level, "Highest level written: 1 error, 2 warning, 3 info, 4 debug")
        ->check(CLI::Range(0, 255));
}

void LogOption::Install() const {
    if (folder.empty()) return;
    CUSharedPtr<CULog> log = CUCreate<CULog>(CUCreate<CUStringWin>(folder.c_str()),
                                             CUCreate<CUStringWin>("qvclip"), level);
    if (!log) throw std::runtime_error("cannot make the log for " + folder);
    CULog::Install(log);
    Log(CULogLevelInfo, "qvclip %hs started", QV_VERSION);
}

}  // namespace qvclip

// Where the running program lies: the path of its executable and the folder that holds it, read
// from /proc/self/exe. The module looks beside the host program for the data it ships with
// (resource/), as the host's installer puts it there.
// Threads: any thread; each call asks the system again. Failures: an unreadable link gives an
// empty text, never an exception.
#pragma once

#include <string>

namespace platform {

// The executable's absolute path, symbolic links resolved; empty if unknown.
std::string ModuleFilePath();
// The folder of ModuleFilePath(), without a trailing separator; empty if unknown.
std::string ModuleFolder();

}  // namespace platform

#include "platform/ModulePath.h"

#include <filesystem>
#include <system_error>

namespace platform {

std::string ModuleFilePath() {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : path.string();
}

std::string ModuleFolder() {
    const std::string file = ModuleFilePath();
    if (file.empty()) return std::string();
    return std::filesystem::path(file).parent_path().string();
}

}  // namespace platform

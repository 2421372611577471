// The global --log DIR and --log-level N options of qvclip: when DIR is given, the module's log is
// installed there as the ring of files "qvclip0.log" ... "qvclip9.log".
#pragma once

#include <cstdint>
#include <string>

namespace CLI {
class App;
}

namespace qvclip {

class LogOption {
public:
    void Register(CLI::App& app);
    // Installs the log if --log was given; throws std::runtime_error for a folder it cannot use.
    void Install() const;

private:
    std::string folder;
    uint32_t level = 3;
};

}  // namespace qvclip

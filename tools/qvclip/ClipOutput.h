// Output of the clip-reading subcommands: JSON values written one to a line, and the digests
// that the frame listings print.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>

namespace qvclip {

// Objects keep their keys in the order written, so that a row reads as the text does.
using Json = nlohmann::ordered_json;

// One JSON value on one line of the standard output. Text that is not UTF-8 (a path) is
// written with replacement characters instead of failing.
void PrintJsonLine(const Json& value);

// While it lives, what the module prints on the standard output (the system item analyser's
// tile-pack lines) goes to the standard error instead, so that the program's own output stays
// one JSON value a line. Made and destroyed on one thread, while no thread of ours writes to
// the standard output; a failed dup leaves the output where it was.
class ModuleOutputAside {
public:
    ModuleOutputAside();
    ~ModuleOutputAside();
    ModuleOutputAside(const ModuleOutputAside&) = delete;
    ModuleOutputAside& operator=(const ModuleOutputAside&) = delete;

private:
    int m_saved = -1;  // our copy of the standard output, put back at destruction
};

// MD5 of the bytes as 32 lowercase hex digits, as ffmpeg's framemd5 prints it.
std::string Md5Hex(std::span<const uint8_t> bytes);

}  // namespace qvclip

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

// MD5 of the bytes as 32 lowercase hex digits, as ffmpeg's framemd5 prints it.
std::string Md5Hex(std::span<const uint8_t> bytes);

}  // namespace qvclip

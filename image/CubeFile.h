// CubeFile: reads and writes the 33-point 3D LUT text files ("*.cube") that may stand in for the
// colour model's LUTs (KernelData.h), in the kernels' own order: R the fastest axis.
//
// What is read: comments ("#" lines) and blank lines anywhere; before the data an optional TITLE
// line, LUT_3D_SIZE 33 (required), optional DOMAIN_MIN 0 0 0 and DOMAIN_MAX 1 1 1; then exactly
// 35,937 rows of three decimal numbers in 0..1. Anything else is refused: the text is hostile, and
// a half-right LUT would colour every picture wrongly. Lines are at most kCubeMaxLineBytes, files
// at most kCubeMaxFileBytes.
// Failures: false, with a message "<where>: line <n>: <what>" in `*error` (when not null); `lut`
// may then hold a part of the rows. Threads: no shared state; safe from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace image {

inline constexpr size_t kCubeMaxLineBytes = 1024;
inline constexpr size_t kCubeMaxFileBytes = 8u << 20;

// `lut` holds kLutFloats floats. `where` names the text in messages.
bool ParseCube(std::string_view text, float* lut, std::string* error,
               std::string_view where = "cube");
bool ReadCubeFile(const std::string& path, float* lut, std::string* error);

// The text of a .cube file for `lut` (values in 0..1 that read back bit for bit), with `title`
// (quotes and line breaks in it become spaces) when not empty.
std::string FormatCube(const float* lut, std::string_view title);
// False with `*error` when a value is not in 0..1 or the file cannot be written whole.
bool WriteCubeFile(const std::string& path, const float* lut, std::string_view title,
                   std::string* error);

}  // namespace image

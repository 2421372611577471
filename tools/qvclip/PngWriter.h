// Writes 8-bit RGB PNG files from the 32-bit pictures of the convert path (B, G, R, unused in
// memory) or from packed R, G, B rows. Used by `play --frames-out` and the contact sheet.
// Failures: WritePng answers false and puts the reason in `error` (the file that could not be
// written, or libpng's complaint); a partial file is removed.
// Threads: any; nothing is shared between calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qvclip {

enum class PixelLayout { Bgr0, Rgb };

bool WritePng(const std::string& path, const uint8_t* pixels, uint32_t width, uint32_t height,
              size_t stride, PixelLayout layout, std::string* error);

}  // namespace qvclip

#include "tools/qvclip/PngWriter.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace qvclip {

namespace {

struct PngFailure {
    std::string* error;
};

void OnPngError(png_structp png, png_const_charp message) {
    auto* failure = static_cast<PngFailure*>(png_get_error_ptr(png));
    if (failure->error) *failure->error = message;
    png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

// libpng reports errors by longjmp: nothing with a destructor may live in this frame.
bool Encode(std::FILE* file, const uint8_t* pixels, uint32_t width, uint32_t height, size_t stride,
            PixelLayout layout, uint8_t* row, std::string* error) {
    PngFailure failure{error};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &failure, OnPngError,
                                              OnPngWarning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    // Camera pictures compress poorly; a fast level keeps frame export from dominating a play.
    png_set_compression_level(png, 3);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t* from = pixels + y * stride;
        if (layout == PixelLayout::Rgb) {
            png_write_row(png, from);
            continue;
        }
        for (uint32_t x = 0; x < width; ++x) {
            row[3 * x] = from[4 * x + 2];
            row[3 * x + 1] = from[4 * x + 1];
            row[3 * x + 2] = from[4 * x];
        }
        png_write_row(png, row);
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

bool WritePng(const std::string& path, const uint8_t* pixels, uint32_t width, uint32_t height,
              size_t stride, PixelLayout layout, std::string* error) {
    const size_t pixelBytes = layout == PixelLayout::Bgr0 ? 4 : 3;
    if (!pixels || width == 0 || height == 0 || width > PNG_USER_WIDTH_MAX ||
        height > PNG_USER_HEIGHT_MAX || stride < width * pixelBytes) {
        if (error) *error = "no picture to write";
        return false;
    }
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) {
        if (error) *error = path + ": " + std::strerror(errno);
        return false;
    }
    std::vector<uint8_t> row(size_t{width} * 3);
    bool ok = Encode(file, pixels, width, height, stride, layout, row.data(), error);
    if (std::fclose(file) != 0 && ok) {
        ok = false;
        if (error) *error = path + ": " + std::strerror(errno);
    }
    if (!ok) std::remove(path.c_str());
    return ok;
}

}  // namespace qvclip

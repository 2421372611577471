#include "tools/qvclip/ContactSheet.h"

#include <algorithm>

#include "tools/qvclip/PngWriter.h"

namespace qvclip {

namespace {
constexpr uint32_t kGap = 4;  // pixels of black between tiles
}

ContactSheet::ContactSheet(int64_t first, int64_t count, uint32_t tileCount, uint32_t columns,
                           uint32_t tileWidth)
    : columns(std::max(1u, columns)), tileWidth(std::max(8u, tileWidth)) {
    const int64_t n = std::min<int64_t>(std::max<int64_t>(count, 0), tileCount);
    for (int64_t i = 0; i < n; ++i) tiles.push_back(Tile{first + i * count / n});
}

void ContactSheet::Offer(int64_t frame, const uint8_t* bgr0, uint32_t width, uint32_t height,
                         size_t stride) {
    if (next >= tiles.size() || frame < tiles[next].wanted || !bgr0 || width == 0 || height == 0)
        return;
    if (tileHeight == 0) {
        tileHeight = std::max<uint32_t>(1, uint32_t(uint64_t{height} * tileWidth / width));
        const uint32_t rows = uint32_t((tiles.size() + columns - 1) / columns);
        const size_t sheetWidth = size_t{columns} * (tileWidth + kGap) + kGap;
        sheet.assign(sheetWidth * 3 * (size_t{rows} * (tileHeight + kGap) + kGap), 0);
    }
    const size_t sheetWidth = size_t{columns} * (tileWidth + kGap) + kGap;
    const size_t column = next % columns, row = next / columns;
    uint8_t* origin = sheet.data() + ((row * (tileHeight + kGap) + kGap) * sheetWidth +
                                      column * (tileWidth + kGap) + kGap) * 3;
    // Each tile pixel is the mean of the source box it covers (at least one pixel).
    for (uint32_t ty = 0; ty < tileHeight; ++ty) {
        const uint32_t y0 = uint32_t(uint64_t{ty} * height / tileHeight);
        const uint32_t y1 = std::max(y0 + 1, uint32_t(uint64_t{ty + 1} * height / tileHeight));
        for (uint32_t tx = 0; tx < tileWidth; ++tx) {
            const uint32_t x0 = uint32_t(uint64_t{tx} * width / tileWidth);
            const uint32_t x1 = std::max(x0 + 1, uint32_t(uint64_t{tx + 1} * width / tileWidth));
            uint64_t sum[3] = {0, 0, 0};
            for (uint32_t y = y0; y < std::min(y1, height); ++y)
                for (uint32_t x = x0; x < std::min(x1, width); ++x)
                    for (int c = 0; c < 3; ++c) sum[c] += bgr0[y * stride + 4 * x + c];
            const uint64_t area = uint64_t{std::min(y1, height) - y0} * (std::min(x1, width) - x0);
            uint8_t* to = origin + (size_t{ty} * sheetWidth + tx) * 3;
            for (int c = 0; c < 3; ++c) to[2 - c] = uint8_t((sum[c] + area / 2) / area);
        }
    }
    tiles[next].frame = frame;
    ++filled;
    // A frame may stand for several tiles when the range is shorter than they are; one each.
    ++next;
}

bool ContactSheet::Write(const std::string& path, std::string* error) const {
    if (filled == 0 || tileHeight == 0) {
        if (error) *error = "no picture was rendered for the contact sheet";
        return false;
    }
    const uint32_t sheetWidth = columns * (tileWidth + kGap) + kGap;
    const uint32_t rows = uint32_t((filled + columns - 1) / columns);
    const uint32_t height = rows * (tileHeight + kGap) + kGap;
    return WritePng(path, sheet.data(), sheetWidth, height, size_t{sheetWidth} * 3,
                    PixelLayout::Rgb, error);
}

}  // namespace qvclip

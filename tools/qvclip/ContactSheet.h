// ContactSheet: the picture of `play --contact-sheet FILE.png` — thumbnails of frames spread evenly
// over the range played, in rows of `columns`, each reduced by averaging boxes of pixels. The sink
// offers every picture it renders; the sheet keeps the first picture at or after each frame it
// wants, so frames dropped in a real-time play cost a tile its exact frame, never the tile.
// Threads: Offer on the sink's streaming thread, Write on the host's thread after the graph
// stopped. Failures: Write answers false with the reason in `error`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qvclip {

class ContactSheet {
public:
    // The range [first, first + count) of clip frames; at most `tiles` thumbnails `tileWidth` wide.
    ContactSheet(int64_t first, int64_t count, uint32_t tiles = 24, uint32_t columns = 6,
                 uint32_t tileWidth = 320);

    // A rendered picture of clip frame `frame`, 32-bit B, G, R, unused.
    void Offer(int64_t frame, const uint8_t* bgr0, uint32_t width, uint32_t height, size_t stride);
    bool Write(const std::string& path, std::string* error) const;
    size_t Tiles() const { return filled; }

private:
    struct Tile {
        int64_t wanted;
        int64_t frame = -1;  // the frame it shows, -1 while empty
    };
    std::vector<Tile> tiles;
    uint32_t columns;
    uint32_t tileWidth;
    uint32_t tileHeight = 0;  // set by the first picture
    size_t next = 0;          // the first tile still empty
    size_t filled = 0;
    std::vector<uint8_t> sheet;  // R, G, B; grown by rows as tiles arrive
};

}  // namespace qvclip

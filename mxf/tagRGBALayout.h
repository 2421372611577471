// tagRGBALayout: one component of an RGBA descriptor's pixel layout, as the file stores it.
#pragma once

#include <cstdint>

struct tagRGBALayout {
    uint8_t code;   // which component, as a character code ('R', 'G', 'B', 'A', 'F', 0 ends)
    uint8_t depth;  // bits
};
static_assert(sizeof(tagRGBALayout) == 2);

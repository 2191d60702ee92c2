#pragma once

#include "gui/draw_list.h"
#include "gui/font.h"

#include <cstdint>
#include <vector>

/// A glyph of the text batch: the pen and the text's top as AddText had them, which clipping moves along.
struct ktDrawnGlyph {
    int32_t x = 0;
    int32_t y = 0;
    char character = 0;
    ktColor color;
    int32_t advance = 0; ///< pixels
};

/// Reads the text batch back, with the list's font. Glyphs are known by their place in the atlas.
inline std::vector<ktDrawnGlyph> DrawnGlyphs(ktDrawList &list) {
    const ktFont &font = *list.font;
    std::vector<ktDrawnGlyph> glyphs;
    for (uint32_t vertex = 0; vertex < list.text.vertex_count; vertex += 4) {
        const ktTexturedVertex &corner = *list.text.TexturedAt(static_cast<int32_t>(vertex));
        uint32_t index = 0;
        while (index + 1 < font.char_count && font.glyphs[index].left_u != corner.u) ++index;
        const ktGlyph &glyph = font.glyphs[index];
        glyphs.push_back({corner.x - glyph.bearing_x,
                          corner.y + glyph.bearing_y + 3 - static_cast<int32_t>(font.LineHeight()),
                          static_cast<char>(font.first_char + index), corner.color,
                          static_cast<int32_t>(glyph.advance >> 6)});
    }
    return glyphs;
}

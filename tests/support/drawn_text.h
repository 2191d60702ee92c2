#pragma once

#include "gui/draw_list.h"
#include "gui/font.h"

#include <cstdint>
#include <string>
#include <vector>

/// A run of glyphs as AddText was asked for it.
struct ktDrawnText {
    int32_t x;
    int32_t y;
    std::string text;
    ktColor color; ///< of its first glyph
};

/// Reads the text batch back: a run ends where the next glyph is on another row or not to the right. Glyphs
/// are known by their place in the atlas, so what the clip box cut off stays readable.
inline std::vector<ktDrawnText> DrawnTexts(ktDrawList &list) {
    const ktFont &font = *list.font;
    std::vector<ktDrawnText> runs;
    int32_t lastX = 0;
    for (uint32_t vertex = 0; vertex < list.text.vertex_count; vertex += 4) {
        const ktTexturedVertex &corner = *list.text.TexturedAt(static_cast<int32_t>(vertex));
        uint32_t index = 0;
        while (index < font.char_count && font.glyphs[index].left_u != corner.u) ++index;
        const ktGlyph &glyph = font.glyphs[index % font.char_count];
        const int32_t x = corner.x - glyph.bearing_x;
        const int32_t y = corner.y + glyph.bearing_y + 3 - static_cast<int32_t>(font.LineHeight());
        const bool goesOn = !runs.empty() && runs.back().y == y && x > lastX;
        if (!goesOn) runs.push_back({x, y, {}, corner.color});
        runs.back().text += static_cast<char>(font.first_char + index);
        lastX = x;
    }
    return runs;
}

/// The runs' texts alone.
inline std::vector<std::string> DrawnStrings(ktDrawList &list) {
    std::vector<std::string> texts;
    for (const ktDrawnText &run : DrawnTexts(list)) texts.push_back(run.text);
    return texts;
}

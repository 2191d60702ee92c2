#pragma once

#include "gui/draw_list.h"
#include "gui/font.h"

#include <cstdint>
#include <string>
#include <vector>

/// Glyphs that follow each other at the pen's pace, which is what one string makes: where it was put, and the
/// colour of each of its glyphs.
struct ktDrawnRun {
    int32_t x = 0;
    int32_t y = 0;
    std::string text;
    std::vector<ktColor> colors;
};

/// Reads the text batch back, with the list's font. A glyph that a clip rectangle has cut begins a run of its
/// own.
inline std::vector<ktDrawnRun> DrawnRuns(ktDrawList &list) {
    const ktFont &font = *list.font;
    std::vector<ktDrawnRun> runs;
    int32_t pen = 0;
    for (uint32_t vertex = 0; vertex < list.text.vertex_count; vertex += 4) {
        const ktTexturedVertex &corner = *list.text.TexturedAt(static_cast<int32_t>(vertex));
        uint32_t index = 0;
        while (index + 1 < font.char_count && font.glyphs[index].left_u != corner.u) ++index;
        const ktGlyph &glyph = font.glyphs[index];
        const int32_t x = corner.x - glyph.bearing_x;
        const int32_t y = corner.y + glyph.bearing_y + 3 - static_cast<int32_t>(font.atlas_height);
        if (runs.empty() || runs.back().y != y || pen != x) runs.push_back({x, y, {}, {}});
        runs.back().text += static_cast<char>(font.first_char + index);
        runs.back().colors.push_back(corner.color);
        pen = x + static_cast<int32_t>(glyph.advance >> 6);
    }
    return runs;
}

/// The run that was put at a place; empty when none was.
inline ktDrawnRun RunAt(ktDrawList &list, int32_t x, int32_t y) {
    for (const ktDrawnRun &run : DrawnRuns(list))
        if (run.x == x && run.y == y) return run;
    return {};
}

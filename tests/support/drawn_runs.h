#pragma once

#include "support/drawn_glyphs.h"

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
    std::vector<ktDrawnRun> runs;
    int32_t pen = 0;
    for (const ktDrawnGlyph &glyph : DrawnGlyphs(list)) {
        if (runs.empty() || runs.back().y != glyph.y || pen != glyph.x)
            runs.push_back({glyph.x, glyph.y, {}, {}});
        runs.back().text += glyph.character;
        runs.back().colors.push_back(glyph.color);
        pen = glyph.x + glyph.advance;
    }
    return runs;
}

/// The run that was put at a place; empty when none was.
inline ktDrawnRun RunAt(ktDrawList &list, int32_t x, int32_t y) {
    for (const ktDrawnRun &run : DrawnRuns(list))
        if (run.x == x && run.y == y) return run;
    return {};
}

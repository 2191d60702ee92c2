#pragma once

#include "support/drawn_glyphs.h"

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
    std::vector<ktDrawnText> runs;
    int32_t lastX = 0;
    for (const ktDrawnGlyph &glyph : DrawnGlyphs(list)) {
        const bool goesOn = !runs.empty() && runs.back().y == glyph.y && glyph.x > lastX;
        if (!goesOn) runs.push_back({glyph.x, glyph.y, {}, glyph.color});
        runs.back().text += glyph.character;
        lastX = glyph.x;
    }
    return runs;
}

/// The runs' texts alone.
inline std::vector<std::string> DrawnStrings(ktDrawList &list) {
    std::vector<std::string> texts;
    for (const ktDrawnText &run : DrawnTexts(list)) texts.push_back(run.text);
    return texts;
}

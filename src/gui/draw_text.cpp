#include "gui/draw_list.h"
#include "gui/font.h"
#include "gui/gl_api.h"

namespace {

/// Room between the bottom of a line's cell and its baseline, in pixels.
constexpr int32_t belowBaseline = 3;

int16_t Low16(int64_t value) { return static_cast<int16_t>(value); }

/// Edges in window pixels, in the 16 bits that vertices have.
struct ktEdges {
    int16_t left;
    int16_t top;
    int16_t right;
    int16_t bottom;

    static ktEdges From(int16_t x, int16_t y, int64_t w, int64_t h) {
        return {x, y, Low16(x + w), Low16(y + h)};
    }
    /// An edge in common is enough.
    bool Touches(const ktEdges &other) const {
        return right >= other.left && left <= other.right && bottom >= other.top && top <= other.bottom;
    }
    void PullInTo(const ktEdges &clip) {
        if (left < clip.left) left = clip.left;
        if (right > clip.right) right = clip.right;
        if (top < clip.top) top = clip.top;
        if (bottom > clip.bottom) bottom = clip.bottom;
    }
};

} // namespace

int32_t ktDrawList::AddText(uint16_t x, uint16_t y, const char *string, uint32_t maxLength, ktColor color) {
    if (string == nullptr || font == nullptr || !font->HasFallback()) return -1;
    const int64_t baseline = int64_t(y) - belowBaseline + font->atlas_height;
    const ktEdges clip = ktEdges::From(clip_x, Low16(clip_y - belowBaseline), clip_w, clip_h);
    int64_t pen = x;
    int32_t first = -1;
    for (uint64_t i = 0; string[i] != 0 && (maxLength == 0 || i < maxLength); ++i) {
        const char byte = string[i];
        if (byte == '\n' || byte == '\r') continue;
        const ktGlyph &glyph = font->GlyphOf(byte);
        ktEdges box = ktEdges::From(Low16(pen + glyph.bearing_x), Low16(baseline - glyph.bearing_y),
                                    glyph.width, glyph.rows);
        if (clip_on) {
            // The pen stays where it is: what starts before the clip box is gone up to the first glyph
            // inside.
            if (!box.Touches(clip)) continue;
            box.PullInTo(clip);
        }
        const ktTexturedVertex corners[4] = {{box.left, box.top, color, glyph.left_u, glyph.top_v},
                                             {box.right, box.top, color, glyph.right_u, glyph.top_v},
                                             {box.right, box.bottom, color, glyph.right_u, glyph.bottom_v},
                                             {box.left, box.bottom, color, glyph.left_u, glyph.bottom_v}};
        const int32_t vertex = text.AppendQuad(corners);
        if (vertex == -1) break;
        if (first == -1) first = vertex;
        pen += (glyph.advance >> 6) * (byte == '\t' ? tab_width : 1);
    }
    return first;
}

void ktDrawList::RecolourText(int32_t first, uint32_t start, uint32_t count, ktColor color) {
    if (first < 0) return;
    const int64_t begin = first + int64_t(start) * 4;
    int64_t end = begin + int64_t(count) * 4;
    if (begin > text.vertex_max) return;
    // Not clamped to the batch: in practice this leaves nothing of a range that would pass its end.
    if (end > text.vertex_max) end = text.vertex_max - begin;
    if (end <= begin) return;

    const int64_t length = end - begin;
    ktTexturedVertex *vertices = text.TexturedAt(static_cast<int32_t>(begin));
    for (int64_t i = 0; i < length; ++i) vertices[i].color = color;
    if (gl == nullptr) return;
    // The colours themselves go up with the whole batch when the frame is flushed.
    constexpr ktGlSize indexSize = sizeof(uint32_t);
    gl->BindBuffer(ktGlArrayBuffer, text.ebo); // the binding of indices belongs to a vertex array
    gl->BufferSubData(ktGlArrayBuffer, begin * indexSize, length * indexSize, text.index_data.get() + begin);
}

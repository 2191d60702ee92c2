#pragma once

#include "gui/texture.h"

#include <cstdint>
#include <memory>
#include <string>

struct ktGlApi;

struct ktGlyph {
    uint32_t atlas_x = 0;
    uint32_t atlas_y = 0;
    uint32_t width = 0;
    uint32_t rows = 0;
    int32_t bearing_x = 0;
    int32_t bearing_y = 0;
    int64_t advance = 0; ///< 26.6 fixed point
    float left_u = 0;
    float top_v = 0;
    float right_u = 0;
    float bottom_v = 0;
};

/// The one font: the printable ASCII characters of a monospaced face in an atlas of one row. Loaded on the
/// main thread before the render thread starts, and read-only afterwards but for `texture`.
class ktFont {
public:
    ktFont() = default;
    ~ktFont();
    ktFont(const ktFont &) = delete;
    ktFont &operator=(const ktFont &) = delete;

    /// Rasterises `path` at the pixel size that is set. False, after Release, when the file is no face that
    /// can be used or memory fails. A face with a character that cannot be rendered ends the process: text is
    /// the whole interface, and half of it would mislead.
    bool Load();
    /// Frees what Load made, and `name` and `path`. The texture must have been deleted. Safe to call again.
    void Release();
    /// Uploads the atlas and frees the CPU's copy. False when the driver gives no texture. Render thread.
    bool Upload(const ktGlApi &gl);
    void DeleteTexture(const ktGlApi &gl);

    /// True when text can be drawn: the range holds the fallback '?'.
    bool HasFallback() const;
    /// The glyph of a byte: tab is the space, what is out of range is '?'. Needs HasFallback.
    const ktGlyph &GlyphOf(char byte) const;
    /// Width in pixels of `text`. Every byte counts, tabs and line ends as '?'; 0 without the fallback.
    uint32_t TextWidth(const char *text) const;
    /// Advance of a character in pixels: the space's, else that of '?', else the widest glyph's width.
    uint32_t CharacterAdvance() const;
    uint32_t LineHeight() const { return atlas_height; }

    ktTexture texture;
    std::unique_ptr<uint8_t[]> bitmap; ///< the atlas, one byte a pixel; null after the upload
    std::unique_ptr<ktGlyph[]> glyphs; ///< char_count entries
    uint32_t pixel_width = 16;
    uint32_t pixel_height = 16;
    uint32_t total_width = 0;
    uint32_t total_height = 0;
    uint32_t cell_width = 0;
    uint32_t cell_height = 0;
    uint32_t atlas_width = 0;
    uint32_t atlas_height = 0; ///< the line height of the whole toolkit
    uint32_t atlas_bytes = 0;
    uint32_t max_glyph_width = 0; ///< column width of a text view
    uint32_t max_glyph_rows = 0;
    uint32_t max_top = 0; ///< compared unsigned, so that a glyph below the baseline counts as the highest
    uint32_t min_top = 0xFFFFFFFF;
    uint32_t first_char = 0;
    uint32_t char_count = 0;
    std::string name;
    std::string path;

private:
    bool HasChar(int code) const;
    const ktGlyph &GlyphInRange(int code) const;
    void ResetMetrics();

    bool holds_library = false;
};

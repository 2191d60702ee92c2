// Prints the glyphs of the debugger's font as JSON, for tests that read text off the screen.

#include "gui/font.h"
#include "platform/font_file.h"

#include <cstdio>

int main() {
    ktFont font;
    bool loaded = false;
    for (const std::string &file : MonospacedFontFiles()) {
        font.path = file;
        loaded = font.Load();
        if (loaded) break;
    }
    if (!loaded) return 1;
    std::printf("{\"line_height\": %u, \"advance\": %u, \"glyphs\": [", font.LineHeight(),
                font.CharacterAdvance());
    for (uint32_t i = 0; i < font.char_count; ++i) {
        const ktGlyph &glyph = font.glyphs[i];
        std::printf("%s\n{\"char\": %u, \"x\": %d, \"y\": %d, \"width\": %u, \"rows\": [", i == 0 ? "" : ",",
                    font.first_char + i, glyph.bearing_x, glyph.bearing_y, glyph.width);
        for (uint32_t row = 0; row < glyph.rows; ++row) {
            std::printf("%s\"", row == 0 ? "" : ", ");
            const uint8_t *pixels = font.bitmap.get() + size_t(row) * font.atlas_width + glyph.atlas_x;
            for (uint32_t column = 0; column < glyph.width; ++column) std::printf("%02x", pixels[column]);
            std::printf("\"");
        }
        std::printf("]}");
    }
    std::printf("]}\n");
    return 0;
}

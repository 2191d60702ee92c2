#include "gui/font.h"

#include "gui/gl_api.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include <ft2build.h>
#include FT_FREETYPE_H

namespace {

constexpr uint32_t firstPrintable = 32;
constexpr uint32_t printableCount = 96;
/// No atlas of a usable face comes near it; one that is meant to eat memory does.
constexpr uint64_t largestAtlas = 64 << 20;

/// The library handle is the process's. The font that opened it closes it; fonts loaded meanwhile borrow it,
/// and need it no longer once they are loaded.
FT_Library library = nullptr;
std::atomic<uint32_t> libraryCount = 0;

/// False when the library cannot be opened. `holds` tells whether the caller has to close it.
bool OpenLibrary(bool &holds) {
    uint32_t none = 0;
    if (!libraryCount.compare_exchange_strong(none, 1)) return true;
    if (FT_Init_FreeType(&library) != 0) {
        libraryCount = 0;
        return false;
    }
    holds = true;
    return true;
}

void CloseLibrary() {
    FT_Done_FreeType(library);
    library = nullptr;
    libraryCount = 0;
}

struct ktFaceCloser {
    void operator()(FT_Face face) const { FT_Done_Face(face); }
};
using ktFace = std::unique_ptr<FT_FaceRec_, ktFaceCloser>;

ktFace OpenFace(const ktFont &font) {
    FT_Face face = nullptr;
    if (FT_New_Face(library, font.path.c_str(), 0, &face) != 0) return nullptr;
    ktFace owned(face);
    if (FT_Set_Pixel_Sizes(face, font.pixel_width, font.pixel_height) != 0) return nullptr;
    return owned;
}

/// Pictures that a face has of some sizes are of one bit a pixel: the outlines count.
constexpr FT_Int32 fromOutlines = FT_LOAD_RENDER | FT_LOAD_NO_BITMAP;

/// How to load the characters. A face without hints of its own is hinted by the library, which may widen or
/// narrow single characters by a pixel, and then a monospaced face stands on no grid; the light hinting keeps
/// widths.
FT_Int32 LoadFlags(const ktFont &font, FT_Face face) {
    FT_Pos advance = 0;
    for (uint32_t i = 0; i < font.char_count; ++i) {
        if (FT_Load_Char(face, font.first_char + i, fromOutlines) != 0) continue;
        if (advance != 0 && face->glyph->advance.x != advance) return fromOutlines | FT_LOAD_TARGET_LIGHT;
        advance = face->glyph->advance.x;
    }
    return fromOutlines;
}

uint32_t RoundedToFour(uint32_t value) { return (value + 3) & ~3u; }

/// Sets the sizes that the atlas is made from.
void Measure(ktFont &font, FT_Face face, FT_Int32 flags) {
    for (uint32_t code = font.first_char; code < font.first_char + font.char_count; ++code) {
        if (FT_Load_Char(face, code, flags) != 0) std::abort();
        const FT_GlyphSlot slot = face->glyph;
        const auto top = static_cast<uint32_t>(slot->bitmap_top);
        font.max_glyph_width = std::max<uint32_t>(font.max_glyph_width, slot->bitmap.width);
        font.max_glyph_rows = std::max<uint32_t>(font.max_glyph_rows, slot->bitmap.rows);
        font.max_top = std::max(font.max_top, top);
        font.min_top = std::min(font.min_top, top);
        font.total_width += slot->bitmap.width;
        font.total_height = font.max_glyph_rows;
    }
}

/// False when the face is blank or wants an atlas beyond all reason, and without memory.
bool ReserveAtlas(ktFont &font) {
    font.cell_width = RoundedToFour(font.max_glyph_width);
    font.cell_height = RoundedToFour(font.max_glyph_rows);
    const uint64_t bytes = uint64_t(font.cell_width) * font.char_count * font.cell_height;
    if (bytes == 0 || bytes > largestAtlas) return false;
    font.atlas_width = font.cell_width * font.char_count;
    font.atlas_height = font.cell_height;
    font.atlas_bytes = static_cast<uint32_t>(bytes);
    font.bitmap.reset(new (std::nothrow) uint8_t[font.atlas_bytes]());
    font.glyphs.reset(new (std::nothrow) ktGlyph[font.char_count]);
    return font.bitmap != nullptr && font.glyphs != nullptr;
}

/// A row is the bitmap's pitch; one of another depth than a byte a pixel must not leave the cell.
void CopyBitmap(ktFont &font, const ktGlyph &glyph, const FT_Bitmap &bitmap) {
    if (bitmap.pitch <= 0) return;
    const size_t pitch = static_cast<size_t>(bitmap.pitch);
    const uint32_t rows = std::min<uint32_t>(bitmap.rows, font.cell_height);
    for (uint32_t row = 0; row < rows; ++row)
        std::memcpy(&font.bitmap[size_t(row) * font.atlas_width + glyph.atlas_x], bitmap.buffer + row * pitch,
                    std::min<size_t>(pitch, font.cell_width));
}

void Rasterise(ktFont &font, FT_Face face, FT_Int32 flags) {
    const float perColumn = 1.0f / static_cast<float>(font.atlas_width);
    const float perRow = 1.0f / static_cast<float>(font.atlas_height);
    for (uint32_t i = 0; i < font.char_count; ++i) {
        if (FT_Load_Char(face, font.first_char + i, flags) != 0) continue;
        const FT_GlyphSlot slot = face->glyph;
        ktGlyph &glyph = font.glyphs[i];
        glyph.atlas_x = i * font.cell_width;
        glyph.width = slot->bitmap.width;
        glyph.rows = slot->bitmap.rows;
        glyph.bearing_x = slot->bitmap_left;
        glyph.bearing_y = slot->bitmap_top;
        glyph.advance = slot->advance.x;
        glyph.left_u = perColumn * static_cast<float>(glyph.atlas_x);
        glyph.right_u = glyph.left_u + perColumn * static_cast<float>(glyph.width);
        glyph.bottom_v = perRow * static_cast<float>(glyph.rows);
        CopyBitmap(font, glyph, slot->bitmap);
    }
}

} // namespace

ktFont::~ktFont() { Release(); }

bool ktFont::Load() {
    ResetMetrics();
    if (OpenLibrary(holds_library)) {
        if (const ktFace face = OpenFace(*this)) {
            first_char = firstPrintable;
            char_count = printableCount;
            const FT_Int32 flags = LoadFlags(*this, face.get());
            Measure(*this, face.get(), flags);
            if (ReserveAtlas(*this)) {
                Rasterise(*this, face.get(), flags);
                return true;
            }
        }
    }
    Release();
    return false;
}

void ktFont::ResetMetrics() {
    bitmap.reset();
    glyphs.reset();
    total_width = total_height = 0;
    cell_width = cell_height = 0;
    atlas_width = atlas_height = atlas_bytes = 0;
    max_glyph_width = max_glyph_rows = 0;
    max_top = 0;
    min_top = 0xFFFFFFFF;
    first_char = char_count = 0;
}

void ktFont::Release() {
    ResetMetrics();
    std::string().swap(name);
    std::string().swap(path);
    pixel_width = pixel_height = 16;
    if (holds_library) CloseLibrary();
    holds_library = false;
}

bool ktFont::Upload(const ktGlApi &gl) {
    if (bitmap == nullptr) return texture.name != 0;
    const bool exists = texture.name != 0;
    if (!exists) gl.GenTextures(1, &texture.name);
    if (texture.name == 0) return false;

    const auto width = static_cast<int32_t>(atlas_width);
    const auto height = static_cast<int32_t>(atlas_height);
    gl.BindTexture(ktGlTexture2d, texture.name);
    gl.PixelStorei(ktGlUnpackAlignment, 1);
    if (exists) {
        gl.TexSubImage2D(ktGlTexture2d, 0, 0, 0, width, height, ktGlRed, ktGlUnsignedByte, bitmap.get());
    } else {
        gl.TexImage2D(ktGlTexture2d, 0, ktGlRed, width, height, 0, ktGlRed, ktGlUnsignedByte, bitmap.get());
        gl.TexParameteri(ktGlTexture2d, ktGlTextureWrapS, ktGlClampToEdge);
        gl.TexParameteri(ktGlTexture2d, ktGlTextureWrapT, ktGlClampToEdge);
        gl.TexParameteri(ktGlTexture2d, ktGlTextureMinFilter, ktGlLinear);
        gl.TexParameteri(ktGlTexture2d, ktGlTextureMagFilter, ktGlLinear);
    }
    gl.BindTexture(ktGlTexture2d, 0);
    texture.state = ktTextureAtlas;
    texture.width = atlas_width;
    texture.height = atlas_height;
    bitmap.reset();
    return true;
}

void ktFont::DeleteTexture(const ktGlApi &gl) {
    if (texture.name != 0) gl.DeleteTextures(1, &texture.name);
    texture = {};
}

bool ktFont::HasChar(int code) const {
    const int64_t index = int64_t(code) - first_char;
    return glyphs != nullptr && index >= 0 && index < char_count;
}

bool ktFont::HasFallback() const { return HasChar('?'); }

const ktGlyph &ktFont::GlyphInRange(int code) const {
    return glyphs[static_cast<uint32_t>(HasChar(code) ? code : '?') - first_char];
}

const ktGlyph &ktFont::GlyphOf(char byte) const {
    return GlyphInRange(byte == '\t' ? ' ' : static_cast<signed char>(byte));
}

uint32_t ktFont::TextWidth(const char *text) const {
    if (text == nullptr || !HasFallback()) return 0;
    int64_t width = 0;
    for (; *text != 0; ++text) width += GlyphInRange(static_cast<signed char>(*text)).advance >> 6;
    return static_cast<uint32_t>(width);
}

uint32_t ktFont::CharacterAdvance() const {
    if (HasChar(' ') || HasFallback()) return static_cast<uint32_t>(GlyphInRange(' ').advance >> 6);
    return max_glyph_width;
}

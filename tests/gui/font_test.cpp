#include "gui/font.h"

#include "support/allocation_count.h"
#include "support/fake_gl.h"
#include "support/temp_folder.h"
#include "support/test_font.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include <ft2build.h>
#include FT_FREETYPE_H

namespace {

using Bytes = std::vector<uint8_t>;

Bytes FaceFile() {
    std::ifstream file(TestFontPath(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

size_t Read32(const Bytes &bytes, size_t at) {
    return size_t(bytes[at]) << 24 | size_t(bytes[at + 1]) << 16 | size_t(bytes[at + 2]) << 8 | bytes[at + 3];
}

/// The file with every byte of a table set to `value`.
Bytes WithTableOf(Bytes file, const std::string &tag, uint8_t value) {
    const size_t tableCount = size_t(file[4]) << 8 | file[5];
    for (size_t entry = 12; entry < 12 + tableCount * 16; entry += 16) {
        if (!std::equal(tag.begin(), tag.end(), file.begin() + std::ptrdiff_t(entry))) continue;
        const auto begin = file.begin() + std::ptrdiff_t(Read32(file, entry + 8));
        std::fill_n(begin, Read32(file, entry + 12), value);
        return file;
    }
    ADD_FAILURE() << "no table " << tag;
    return file;
}

bool LoadFrom(ktFont &font, const std::string &path) {
    font.name = "test";
    font.path = path;
    return font.Load();
}

void ExpectReleased(const ktFont &font) {
    EXPECT_EQ(font.bitmap, nullptr);
    EXPECT_EQ(font.glyphs, nullptr);
    EXPECT_TRUE(font.name.empty());
    EXPECT_TRUE(font.path.empty());
    EXPECT_EQ(font.pixel_width, 16u);
    EXPECT_EQ(font.pixel_height, 16u);
    EXPECT_EQ(font.char_count, 0u);
    EXPECT_EQ(font.atlas_height, 0u);
    EXPECT_EQ(font.max_glyph_width, 0u);
    EXPECT_EQ(font.min_top, 0xFFFFFFFFu);
    EXPECT_FALSE(font.HasFallback());
}

uint32_t RoundedToFour(uint32_t value) { return (value + 3) / 4 * 4; }

} // namespace

TEST(Font, AtlasIsOneRowOfCells) {
    ktFont font;
    ASSERT_TRUE(LoadFrom(font, TestFontPath()));
    EXPECT_EQ(font.first_char, 32u);
    EXPECT_EQ(font.char_count, 96u);
    EXPECT_EQ(font.pixel_width, 16u);
    EXPECT_EQ(font.pixel_height, 16u);
    EXPECT_EQ(font.name, "test");
    uint32_t total = 0, widest = 0, tallest = 0, maxTop = 0, minTop = 0xFFFFFFFF;
    for (uint32_t i = 0; i < 96; ++i) {
        const ktGlyph &glyph = font.glyphs[i];
        total += glyph.width;
        widest = std::max(widest, glyph.width);
        tallest = std::max(tallest, glyph.rows);
        maxTop = std::max(maxTop, uint32_t(glyph.bearing_y));
        minTop = std::min(minTop, uint32_t(glyph.bearing_y));
        EXPECT_EQ(glyph.atlas_x, i * font.cell_width);
        EXPECT_EQ(glyph.atlas_y, 0u);
    }
    EXPECT_EQ(font.total_width, total);
    EXPECT_EQ(font.total_height, tallest);
    EXPECT_EQ(font.max_glyph_width, widest);
    EXPECT_EQ(font.max_glyph_rows, tallest);
    EXPECT_EQ(font.max_top, maxTop);
    EXPECT_EQ(font.min_top, minTop);
    EXPECT_EQ(font.cell_width, RoundedToFour(widest));
    EXPECT_EQ(font.cell_height, RoundedToFour(tallest));
    EXPECT_EQ(font.atlas_width, font.cell_width * 96);
    EXPECT_EQ(font.atlas_height, font.cell_height);
    EXPECT_EQ(font.LineHeight(), font.atlas_height);
    EXPECT_EQ(font.atlas_bytes, font.atlas_width * font.atlas_height);
}

TEST(Font, TestFontStandsOnAGridOf9By16) {
    const ktFont &font = TestFont();
    EXPECT_EQ(font.atlas_height, 16u);
    EXPECT_EQ(font.CharacterAdvance(), 9u);
    EXPECT_EQ(font.max_glyph_width, 9u); // the columns of a right click are those of the text
    for (uint32_t i = 0; i < font.char_count; ++i) EXPECT_EQ(font.glyphs[i].advance >> 6, 9) << char(32 + i);
}

TEST(Font, GlyphsAreWhatTheRasteriserSays) {
    FT_Library library = nullptr;
    ASSERT_EQ(FT_Init_FreeType(&library), 0);
    FT_Face face = nullptr;
    ASSERT_EQ(FT_New_Face(library, TestFontPath().c_str(), 0, &face), 0);
    ASSERT_EQ(FT_Set_Pixel_Sizes(face, 16, 16), 0);
    ktFont font;
    ASSERT_TRUE(LoadFrom(font, TestFontPath()));
    for (uint32_t i = 0; i < 96; ++i) {
        ASSERT_EQ(FT_Load_Char(face, 32 + i, FT_LOAD_RENDER | FT_LOAD_TARGET_LIGHT), 0);
        const FT_GlyphSlot slot = face->glyph;
        const ktGlyph &glyph = font.glyphs[i];
        EXPECT_EQ(glyph.width, slot->bitmap.width) << char(32 + i);
        EXPECT_EQ(glyph.rows, slot->bitmap.rows) << char(32 + i);
        EXPECT_EQ(glyph.bearing_x, slot->bitmap_left) << char(32 + i);
        EXPECT_EQ(glyph.bearing_y, slot->bitmap_top) << char(32 + i);
        EXPECT_EQ(glyph.advance, slot->advance.x) << char(32 + i);
        for (uint32_t row = 0; row < glyph.rows; ++row) {
            const uint8_t *drawn = &font.bitmap[row * font.atlas_width + glyph.atlas_x];
            const uint8_t *wanted = slot->bitmap.buffer + row * static_cast<uint32_t>(slot->bitmap.pitch);
            EXPECT_TRUE(std::equal(drawn, drawn + glyph.width, wanted)) << char(32 + i) << " row " << row;
        }
    }
    FT_Done_Face(face);
    FT_Done_FreeType(library);
}

TEST(Font, TextureCoordinatesCoverTheBitmapOfEachGlyph) {
    const ktFont &font = TestFont();
    const float perColumn = 1.0f / float(font.atlas_width);
    const float perRow = 1.0f / float(font.atlas_height);
    for (uint32_t i = 0; i < 96; ++i) {
        const ktGlyph &glyph = font.glyphs[i];
        EXPECT_EQ(glyph.left_u, perColumn * float(glyph.atlas_x));
        EXPECT_EQ(glyph.right_u, glyph.left_u + perColumn * float(glyph.width));
        EXPECT_EQ(glyph.top_v, 0.0f);
        EXPECT_EQ(glyph.bottom_v, perRow * float(glyph.rows));
    }
}

TEST(Font, BitmapsLieInTheirCells) {
    ktFont font;
    ASSERT_TRUE(LoadFrom(font, TestFontPath()));
    for (uint32_t i = 0; i < 96; ++i) {
        const ktGlyph &glyph = font.glyphs[i];
        bool inked = false;
        for (uint32_t y = 0; y < font.cell_height; ++y) {
            for (uint32_t x = 0; x < font.cell_width; ++x) {
                const uint8_t pixel = font.bitmap[y * font.atlas_width + glyph.atlas_x + x];
                if (pixel == 0) continue;
                inked = true;
                EXPECT_LT(x, glyph.width) << char(32 + i);
                EXPECT_LT(y, glyph.rows) << char(32 + i);
            }
        }
        EXPECT_EQ(inked, i != 0) << char(32 + i);
    }
    // The bar is a column of ink from top to bottom.
    const ktGlyph &bar = font.GlyphOf('|');
    for (uint32_t y = 0; y < bar.rows; ++y)
        EXPECT_GT(font.bitmap[y * font.atlas_width + bar.atlas_x + bar.width / 2], 64) << y;
}

TEST(Font, ByteChoosesItsGlyphTheSpaceOrTheFallback) {
    const ktFont &font = TestFont();
    ASSERT_TRUE(font.HasFallback());
    EXPECT_EQ(&font.GlyphOf('A'), &font.glyphs['A' - 32]);
    EXPECT_EQ(&font.GlyphOf(' '), &font.glyphs[0]);
    EXPECT_EQ(&font.GlyphOf('\t'), &font.glyphs[0]);
    EXPECT_EQ(&font.GlyphOf('\x7F'), &font.glyphs[95]);
    for (char byte : {'\x01', '\n', '\x1F', '\x80', '\xC8', '\xFF'})
        EXPECT_EQ(&font.GlyphOf(byte), &font.glyphs['?' - 32]) << int(byte);
}

TEST(Font, WidthCountsEveryByte) {
    const ktFont &font = TestFont();
    EXPECT_EQ(font.TextWidth(""), 0u);
    EXPECT_EQ(font.TextWidth(nullptr), 0u);
    EXPECT_EQ(font.TextWidth("iW."), 27u);
    EXPECT_EQ(font.TextWidth("a\tb\n\xC8"), 45u);
    const ktFont unloaded;
    EXPECT_EQ(unloaded.TextWidth("abc"), 0u);
}

TEST(Font, CharacterAdvanceFallsBack) {
    const auto fontFrom = [](ktFont &font, uint32_t firstChar) {
        font.first_char = firstChar;
        font.char_count = 64;
        font.glyphs = std::make_unique<ktGlyph[]>(64);
        font.max_glyph_width = 3;
    };
    ktFont withSpace;
    fontFrom(withSpace, ' ');
    withSpace.glyphs[0].advance = 5 * 64 + 63;
    withSpace.glyphs['?' - ' '].advance = 7 * 64;
    EXPECT_EQ(withSpace.CharacterAdvance(), 5u);
    ktFont withQuestionMark;
    fontFrom(withQuestionMark, '?');
    withQuestionMark.glyphs[0].advance = 7 * 64;
    EXPECT_EQ(withQuestionMark.CharacterAdvance(), 7u);
    ktFont withNeither;
    fontFrom(withNeither, 'A');
    EXPECT_EQ(withNeither.CharacterAdvance(), 3u);
    const ktFont unloaded;
    EXPECT_EQ(unloaded.CharacterAdvance(), 0u);
}

TEST(Font, MissingFileReleasesTheFont) {
    ktFont font;
    EXPECT_FALSE(LoadFrom(font, "/nowhere/at/all.ttf"));
    ExpectReleased(font);
    EXPECT_FALSE(LoadFrom(font, ""));
    EXPECT_TRUE(LoadFrom(font, TestFontPath())) << "a later try may succeed";
}

TEST(Font, FileThatIsNoFaceIsRefused) {
    const ktTempFolder folder;
    ktFont font;
    EXPECT_FALSE(LoadFrom(font, folder.Write("empty.ttf", {})));
    ExpectReleased(font);
    EXPECT_FALSE(LoadFrom(font, folder.Write("zeroes.ttf", Bytes(70000))));
    std::mt19937 random(1);
    for (int round = 0; round < 50; ++round) {
        Bytes noise(4096);
        for (uint8_t &byte : noise) byte = uint8_t(random());
        EXPECT_FALSE(LoadFrom(font, folder.Write("noise.ttf", noise)));
    }
    ExpectReleased(font);
}

TEST(Font, FaceWithoutItsHeaderIsRefused) {
    const ktTempFolder folder;
    const Bytes face = FaceFile();
    ktFont font;
    for (size_t length : {1u, 4u, 11u, 12u, 100u, 219u, 250u, 300u})
        EXPECT_FALSE(LoadFrom(font, folder.Write("cut.ttf", Bytes(face.begin(), face.begin() + int(length)))))
            << length;
    EXPECT_FALSE(LoadFrom(font, folder.Write("head.ttf", WithTableOf(face, "head", 0))));
    ExpectReleased(font);
}

// A file that opens as a face is either taken, or refused, or ends the process by intention: it never goes
// astray.
TEST(FontDeathTest, DamagedFaceHasADefinedEnd) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const ktTempFolder folder;
    const Bytes face = FaceFile();
    std::vector<Bytes> damaged;
    for (int length : {400, 4000, 7000, 20000, 60000, 72000})
        damaged.emplace_back(face.begin(), face.begin() + length);
    std::mt19937 random(7);
    for (int round = 0; round < 8; ++round) {
        damaged.push_back(face);
        for (int flip = 0; flip < 200; ++flip) damaged.back()[random() % face.size()] = uint8_t(random());
    }
    const auto defined = [](int status) {
        return testing::ExitedWithCode(0)(status) || testing::ExitedWithCode(1)(status) ||
               testing::KilledBySignal(SIGABRT)(status);
    };
    for (size_t i = 0; i < damaged.size(); ++i) {
        const std::string path = folder.Write("damaged.ttf", damaged[i]);
        EXPECT_EXIT(
            {
                ktFont font;
                std::_Exit(LoadFrom(font, path) ? 0 : 1);
            },
            defined, "")
            << i;
    }
}

TEST(FontDeathTest, FaceWithACharacterThatCannotBeRenderedEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const ktTempFolder folder;
    const std::string path = folder.Write("broken.ttf", WithTableOf(FaceFile(), "glyf", 0x7F));
    EXPECT_EXIT(
        {
            ktFont font;
            LoadFrom(font, path);
        },
        testing::KilledBySignal(SIGABRT), "");
}

TEST(Font, BlankFaceIsRefused) {
    // All glyphs lie at offset 0 and are empty.
    const ktTempFolder folder;
    ktFont font;
    EXPECT_FALSE(LoadFrom(font, folder.Write("blank.ttf", WithTableOf(FaceFile(), "loca", 0))));
    ExpectReleased(font);
}

TEST(Font, LoadWithoutMemoryReleasesTheFont) {
    for (size_t size : {size_t(TestFont().atlas_bytes), sizeof(ktGlyph) * 96}) {
        ktFont font;
        const ktAllocationFailure failure(size);
        EXPECT_FALSE(LoadFrom(font, TestFontPath()));
        EXPECT_EQ(failure.Count(), 1u);
        ExpectReleased(font);
    }
}

TEST(Font, AbsurdSizeIsRefused) {
    ktFont font;
    font.pixel_width = font.pixel_height = 2000;
    EXPECT_FALSE(LoadFrom(font, TestFontPath()));
    ExpectReleased(font);
}

TEST(Font, PixelSizeIsTheOneThatIsSet) {
    ktFont font;
    font.pixel_width = font.pixel_height = 32;
    ASSERT_TRUE(LoadFrom(font, TestFontPath()));
    EXPECT_GT(font.atlas_height, TestFont().atlas_height);
    font.Release();
    ExpectReleased(font);
    font.Release();
}

TEST(Font, FontsLoadedTogetherDoNotNeedEachOther) {
    auto first = std::make_unique<ktFont>();
    ktFont second;
    ASSERT_TRUE(LoadFrom(*first, TestFontPath()));
    ASSERT_TRUE(LoadFrom(second, TestFontPath()));
    first.reset();
    EXPECT_EQ(second.TextWidth("abc"), 27u);
    ktFont third;
    EXPECT_TRUE(LoadFrom(third, TestFontPath()));
    second.Release();
    EXPECT_TRUE(LoadFrom(second, TestFontPath()));
    EXPECT_TRUE(LoadFrom(second, TestFontPath())) << "loading again replaces what was loaded";
    EXPECT_EQ(second.max_glyph_width, third.max_glyph_width);
    EXPECT_EQ(second.total_width, third.total_width);
}

TEST(Font, UploadMakesARedTextureAndFreesTheBitmap) {
    ktFakeGl gl;
    ktFont font;
    ASSERT_TRUE(LoadFrom(font, TestFontPath()));
    const Bytes bitmap(font.bitmap.get(), font.bitmap.get() + font.atlas_bytes);
    font.Upload(gl.api);
    EXPECT_EQ(font.bitmap, nullptr);
    EXPECT_NE(font.texture.name, 0u);
    EXPECT_EQ(font.texture.state, ktTextureAtlas);
    EXPECT_EQ(font.texture.width, font.atlas_width);
    EXPECT_EQ(font.texture.height, font.atlas_height);
    const double name = font.texture.name;
    const std::vector<ktGlCall> expected = {
        {"GenTextures", {1, 0}, {}, {}},
        {"BindTexture", {ktGlTexture2d, name}, {}, {}},
        {"PixelStorei", {ktGlUnpackAlignment, 1}, {}, {}},
        {"TexImage2D",
         {ktGlTexture2d, 0, ktGlRed, double(font.atlas_width), double(font.atlas_height), 0, ktGlRed,
          ktGlUnsignedByte, 0},
         {},
         {}},
        {"TexParameteri", {ktGlTexture2d, ktGlTextureWrapS, ktGlClampToEdge}, {}, {}},
        {"TexParameteri", {ktGlTexture2d, ktGlTextureWrapT, ktGlClampToEdge}, {}, {}},
        {"TexParameteri", {ktGlTexture2d, ktGlTextureMinFilter, ktGlLinear}, {}, {}},
        {"TexParameteri", {ktGlTexture2d, ktGlTextureMagFilter, ktGlLinear}, {}, {}},
        {"BindTexture", {ktGlTexture2d, 0}, {}, {}},
    };
    EXPECT_EQ(gl.Calls(), expected);
    EXPECT_EQ(gl.CallsOf("TexImage2D")[0].data, bitmap);

    gl.Forget();
    font.Upload(gl.api);
    EXPECT_TRUE(gl.Calls().empty()) << "there is nothing more to upload";
    font.DeleteTexture(gl.api);
    EXPECT_EQ(gl.Calls(), (std::vector<ktGlCall>{{"DeleteTextures", {1, name}, {}, {}}}));
    EXPECT_EQ(font.texture.name, 0u);
    EXPECT_EQ(font.texture.state, ktTextureNone);
    font.DeleteTexture(gl.api);
    EXPECT_EQ(gl.Calls().size(), 1u);
}

TEST(Font, TextureThatExistsIsUpdated) {
    ktFakeGl gl;
    ktFont font;
    ASSERT_TRUE(LoadFrom(font, TestFontPath()));
    font.Upload(gl.api);
    const uint32_t name = font.texture.name;
    ASSERT_TRUE(LoadFrom(font, TestFontPath()));
    gl.Forget();
    font.Upload(gl.api);
    EXPECT_EQ(font.texture.name, name);
    EXPECT_TRUE(gl.CallsOf("GenTextures").empty());
    EXPECT_TRUE(gl.CallsOf("TexImage2D").empty());
    ASSERT_EQ(gl.CallsOf("TexSubImage2D").size(), 1u);
    EXPECT_EQ(gl.CallsOf("TexSubImage2D")[0].arguments,
              (std::vector<double>{ktGlTexture2d, 0, 0, 0, double(font.atlas_width),
                                   double(font.atlas_height), ktGlRed, ktGlUnsignedByte, 0}));
    font.DeleteTexture(gl.api);
}

TEST(Font, DriverWithoutNamesGetsNoTexture) {
    ktFakeGl gl;
    gl.gives_names = false;
    ktFont font;
    ASSERT_TRUE(LoadFrom(font, TestFontPath()));
    font.Upload(gl.api);
    EXPECT_EQ(font.texture.state, ktTextureNone);
    EXPECT_TRUE(gl.CallsOf("TexImage2D").empty());
}

#include "gui/draw_list.h"

#include "support/allocation_count.h"
#include "support/fake_gl.h"
#include "support/test_font.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr ktColor white{255, 255, 255, 255};
constexpr ktColor red{255, 0, 0, 255};
constexpr int advance = 9; ///< of every character of the test font
constexpr int cell = 16;   ///< its line height

struct ktBox {
    int left, top, right, bottom;
    friend bool operator==(const ktBox &, const ktBox &) = default;
    friend std::ostream &operator<<(std::ostream &out, const ktBox &box) {
        return out << box.left << ' ' << box.top << ' ' << box.right << ' ' << box.bottom;
    }
};

class DrawText : public testing::Test {
protected:
    DrawText() {
        EXPECT_TRUE(list.Reserve(400));
        list.font = &TestFont();
    }

    int32_t Add(const char *string, uint16_t x = 100, uint16_t y = 50, uint32_t maxLength = 0) {
        return list.AddText(x, y, string, maxLength, white);
    }
    uint32_t GlyphCount() const { return list.text.vertex_count / 4; }
    const ktTexturedVertex &Vertex(int32_t index) { return *list.text.TexturedAt(index); }
    ktBox Box(int32_t glyph) {
        const ktTexturedVertex &topLeft = Vertex(glyph * 4);
        const ktTexturedVertex &bottomRight = Vertex(glyph * 4 + 2);
        return {topLeft.x, topLeft.y, bottomRight.x, bottomRight.y};
    }
    /// Where the glyph belongs that is drawn with the pen at `pen` in a line at `y`.
    static ktBox Expected(char byte, int pen, int y) {
        const ktGlyph &glyph = TestFont().GlyphOf(byte);
        const int left = pen + glyph.bearing_x;
        const int top = y - 3 + cell - glyph.bearing_y;
        return {left, top, left + int(glyph.width), top + int(glyph.rows)};
    }
    void ExpectGlyph(int32_t index, char byte) {
        const ktGlyph &glyph = TestFont().GlyphOf(byte);
        EXPECT_EQ(Vertex(index * 4).u, glyph.left_u) << byte;
        EXPECT_EQ(Vertex(index * 4 + 2).u, glyph.right_u) << byte;
    }
    void ClipTo(int16_t x, int16_t y, int16_t w, int16_t h) {
        list.clip_on = true;
        list.clip_x = x;
        list.clip_y = y;
        list.clip_w = w;
        list.clip_h = h;
    }

    ktDrawList list;
};

} // namespace

TEST_F(DrawText, GlyphIsFourVerticesClockwiseWithItsPlaceInTheAtlas) {
    EXPECT_EQ(list.AddText(100, 50, "g", 0, red), 0);
    ASSERT_EQ(list.text.vertex_count, 4u);
    const ktGlyph &glyph = TestFont().GlyphOf('g');
    const ktBox box = Expected('g', 100, 50);
    const int16_t left = int16_t(box.left), top = int16_t(box.top);
    const int16_t right = int16_t(box.right), bottom = int16_t(box.bottom);
    const ktTexturedVertex expected[4] = {{left, top, red, glyph.left_u, glyph.top_v},
                                          {right, top, red, glyph.right_u, glyph.top_v},
                                          {right, bottom, red, glyph.right_u, glyph.bottom_v},
                                          {left, bottom, red, glyph.left_u, glyph.bottom_v}};
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(Vertex(i).x, expected[i].x) << i;
        EXPECT_EQ(Vertex(i).y, expected[i].y) << i;
        EXPECT_EQ(Vertex(i).color, red) << i;
        EXPECT_EQ(Vertex(i).u, expected[i].u) << i;
        EXPECT_EQ(Vertex(i).v, expected[i].v) << i;
    }
    EXPECT_EQ(glyph.top_v, 0);
    EXPECT_LT(left, right);
    EXPECT_LT(top, bottom);
}

TEST_F(DrawText, EachByteAdvancesThePen) {
    EXPECT_EQ(Add("A g"), 0);
    ASSERT_EQ(GlyphCount(), 3u);
    EXPECT_EQ(Box(0), Expected('A', 100, 50));
    EXPECT_EQ(Box(1), Expected(' ', 100 + advance, 50));
    EXPECT_EQ(Box(2), Expected('g', 100 + 2 * advance, 50));
    const std::vector<uint32_t> expected = {0, 1, 2, 0, 2, 3, 4, 5, 6, 4, 6, 7, 8, 9, 10, 8, 10, 11};
    EXPECT_EQ(
        std::vector<uint32_t>(list.text.index_data.get(), list.text.index_data.get() + list.text.index_count),
        expected);
    EXPECT_EQ(Add("B"), 12);
}

TEST_F(DrawText, AtTheTopTheBaselineIsThreeAboveTheLineHeight) {
    Add("A", 0, 0);
    EXPECT_EQ(Box(0).bottom, cell - 3);
    EXPECT_EQ(Box(0).top, cell - 3 - TestFont().GlyphOf('A').bearing_y);
}

TEST_F(DrawText, WithoutTextOrFontNothingIsAdded) {
    EXPECT_EQ(Add(nullptr), -1);
    EXPECT_EQ(Add(""), -1);
    EXPECT_EQ(Add("\n\r"), -1);
    list.font = nullptr;
    EXPECT_EQ(Add("A"), -1);
    const ktFont unloaded;
    list.font = &unloaded;
    EXPECT_EQ(Add("A"), -1);
    EXPECT_EQ(list.text.vertex_count, 0u);
}

TEST_F(DrawText, FontWithoutTheFallbackDrawsNothing) {
    ktFont font;
    font.first_char = 'A';
    font.char_count = 26;
    font.glyphs = std::make_unique<ktGlyph[]>(26);
    list.font = &font;
    EXPECT_EQ(Add("A"), -1);
    EXPECT_EQ(list.text.vertex_count, 0u);
}

TEST_F(DrawText, ByteBeyondTheRangeDrawsTheFallback) {
    Add("\xC8\x80\xFF\x01\x1F\x0B");
    ASSERT_EQ(GlyphCount(), 6u);
    for (int32_t i = 0; i < 6; ++i) {
        ExpectGlyph(i, '?');
        EXPECT_EQ(Box(i), Expected('?', 100 + i * advance, 50));
    }
}

TEST_F(DrawText, Byte127IsInTheRange) {
    Add("\x7F");
    EXPECT_EQ(Vertex(0).u, TestFont().glyphs[95].left_u);
}

TEST_F(DrawText, LineEndsAreNotThere) {
    EXPECT_EQ(Add("A\nB\r\nC"), 0);
    ASSERT_EQ(GlyphCount(), 3u);
    EXPECT_EQ(Box(0), Expected('A', 100, 50));
    EXPECT_EQ(Box(1), Expected('B', 100 + advance, 50));
    EXPECT_EQ(Box(2), Expected('C', 100 + 2 * advance, 50));
}

TEST_F(DrawText, TabIsFourSpacesFromWhereverThePenStands) {
    Add("A\tB\tC");
    ASSERT_EQ(GlyphCount(), 5u);
    ExpectGlyph(1, ' ');
    EXPECT_EQ(Box(2), Expected('B', 100 + 5 * advance, 50));
    EXPECT_EQ(Box(4), Expected('C', 100 + 10 * advance, 50));
    list.text.Clear();
    list.tab_width = 2;
    Add("\tB");
    EXPECT_EQ(Box(1), Expected('B', 100 + 2 * advance, 50));
}

TEST_F(DrawText, MaxLengthCutsTheString) {
    Add("ABCDEF", 0, 0, 3);
    EXPECT_EQ(GlyphCount(), 3u);
    list.text.Clear();
    Add("AB", 0, 0, 3);
    EXPECT_EQ(GlyphCount(), 2u);
    list.text.Clear();
    Add("A\nBC", 0, 0, 3);
    EXPECT_EQ(GlyphCount(), 2u) << "a line end counts as one of the bytes";
}

TEST_F(DrawText, MaxLengthOfZeroIsTheWholeString) {
    Add("ABCDEF", 0, 0, 0);
    EXPECT_EQ(GlyphCount(), 6u);
}

TEST_F(DrawText, CoordinatesWrapAt16Bits) {
    Add("AA", 32760, 0);
    EXPECT_EQ(Box(0).left, 32760);
    EXPECT_EQ(Box(1).left, int16_t(32769));
    list.text.Clear();
    Add("A", 40000, 0);
    EXPECT_EQ(Box(0).left, int16_t(40000));
}

TEST_F(DrawText, FullBatchEndsTheTextAndKeepsWhatItHas) {
    const std::string longer(150, 'x');
    EXPECT_EQ(Add(longer.c_str()), 0);
    EXPECT_EQ(GlyphCount(), 100u);
    EXPECT_EQ(list.text.index_count, 600u);
    EXPECT_EQ(Box(99), Expected('x', 100 + 99 * advance, 50));
    EXPECT_EQ(Add("x"), -1);
    EXPECT_EQ(GlyphCount(), 100u);
}

TEST_F(DrawText, WindowsTextBatchHolds50000Glyphs) {
    ktDrawList window;
    ASSERT_TRUE(window.Reserve());
    window.font = &TestFont();
    const std::string line(499, 'x');
    for (int32_t i = 0; i < 100; ++i) ASSERT_EQ(window.AddText(0, 0, line.c_str(), 0, white), i * 499 * 4);
    EXPECT_EQ(window.AddText(0, 0, line.c_str(), 0, white), 49900 * 4);
    EXPECT_EQ(window.text.vertex_count, 200000u);
    EXPECT_EQ(window.text.index_count, 300000u);
    EXPECT_EQ(window.AddText(0, 0, "x", 0, white), -1);
    EXPECT_EQ(window.text.vertex_count, 200000u);
    EXPECT_EQ(window.AddRect(0, 0, 1, 1, white), 0) << "the rest of the frame is complete";
}

TEST_F(DrawText, StringThatStartsLeftOfTheClipBoxShowsNothing) {
    // The pen stays at the first glyph, and with it all the others do.
    ClipTo(100, 50, 200, 20);
    EXPECT_EQ(Add("HHHHHHHHHHHHHHHHHHHH", 50, 50), -1);
    EXPECT_EQ(GlyphCount(), 0u);
}

TEST_F(DrawText, PenStaysAtAClippedGlyphUntilOneLandsInside) {
    // At this pen the narrow bar misses the box, and the wider glyph behind it reaches it from the same
    // place.
    const int bar = Expected('|', 100, 50).right;
    const int wide = Expected('A', 100, 50).right;
    ASSERT_LT(bar, wide);
    ClipTo(int16_t(bar + 1), 50, 200, 20);
    EXPECT_EQ(Add("||A|"), 0);
    ASSERT_EQ(GlyphCount(), 2u);
    ExpectGlyph(0, 'A');
    EXPECT_EQ(Box(0).left, bar + 1);
    EXPECT_EQ(Box(0).right, wide);
    EXPECT_EQ(Box(1), Expected('|', 100 + advance, 50));
}

TEST_F(DrawText, GlyphThatTouchesTheClipEdgeIsDrawn) {
    const ktBox box = Expected('H', 100, 50);
    const struct {
        int x, y, w, h;
        bool drawn;
    } tests[] = {
        {box.right, 50, 50, 20, true},        {box.right + 1, 50, 50, 20, false},
        {box.left - 50, 50, 50, 20, true},    {box.left - 51, 50, 50, 20, false},
        {90, box.bottom + 3, 50, 20, true},   {90, box.bottom + 4, 50, 20, false},
        {90, box.top - 20 + 3, 50, 20, true}, {90, box.top - 21 + 3, 50, 20, false},
    };
    for (const auto &test : tests) {
        list.text.Clear();
        ClipTo(int16_t(test.x), int16_t(test.y), int16_t(test.w), int16_t(test.h));
        EXPECT_EQ(Add("H"), test.drawn ? 0 : -1) << test.x << ' ' << test.y;
    }
}

TEST_F(DrawText, CutGlyphIsSqueezed) {
    const ktBox box = Expected('H', 100, 50);
    ASSERT_GT(box.right - box.left, 4);
    ASSERT_GT(box.bottom - box.top, 6);
    // The box starts three pixels above where the clip rectangle says.
    ClipTo(int16_t(box.left + 2), int16_t(box.top + 2 + 3), int16_t(box.right - box.left - 3),
           int16_t(box.bottom - box.top - 5));
    ASSERT_EQ(Add("H"), 0);
    EXPECT_EQ(Box(0), (ktBox{box.left + 2, box.top + 2, box.right - 1, box.bottom - 3}));
    const ktGlyph &glyph = TestFont().GlyphOf('H');
    EXPECT_EQ(Vertex(0).u, glyph.left_u);
    EXPECT_EQ(Vertex(0).v, glyph.top_v);
    EXPECT_EQ(Vertex(2).u, glyph.right_u);
    EXPECT_EQ(Vertex(2).v, glyph.bottom_v);
}

TEST_F(DrawText, ClipBoxWrapsAt16Bits) {
    // The right edge wraps to the far left, so nothing is inside.
    ClipTo(100, 50, 32767, 20);
    EXPECT_EQ(Add("H", 120, 50), -1);
}

TEST_F(DrawText, ClippedTextGoesOnBehindTheBoxWithoutMoving) {
    const ktBox second = Expected('H', 100 + advance, 50);
    ClipTo(90, 50, int16_t(second.left - 1 - 90), 20);
    EXPECT_EQ(Add("HHHH"), 0);
    EXPECT_EQ(GlyphCount(), 1u);
}

TEST_F(DrawText, AddingTextDoesNotAllocate) {
    const uint64_t before = AllocationCount();
    Add("some text\twith a tab");
    list.RecolourText(0, 2, 3, red);
    EXPECT_EQ(AllocationCount(), before);
}

TEST_F(DrawText, RecolourTakesTheGlyphsOfASubstring) {
    Add("xx");
    const int32_t first = Add("abcdef");
    ASSERT_EQ(first, 8);
    list.RecolourText(first, 2, 3, red);
    for (int32_t i = 0; i < 32; ++i) EXPECT_EQ(Vertex(i).color, i >= 16 && i < 28 ? red : white) << i;
    EXPECT_EQ(list.text.vertex_count, 32u);
}

TEST_F(DrawText, RecolourSendsThatRangeOfTheIndices) {
    ktFakeGl gl;
    ASSERT_TRUE(list.CreateGlObjects(gl.api));
    Add("abcdef");
    gl.Forget();
    list.RecolourText(0, 1, 2, red);
    const std::vector<ktGlCall> calls = gl.Calls();
    EXPECT_EQ(calls, (std::vector<ktGlCall>{{"BindBuffer", {ktGlArrayBuffer, double(list.text.ebo)}, {}, {}},
                                            {"BufferSubData", {ktGlArrayBuffer, 16, 32, 0}, {}, {}}}));
    std::vector<uint8_t> expected;
    for (size_t i = 4; i < 12; ++i)
        for (int shift = 0; shift < 32; shift += 8)
            expected.push_back(uint8_t(list.text.index_data[i] >> shift));
    EXPECT_EQ(calls[1].data, expected);
    list.DeleteGlObjects();
}

TEST_F(DrawText, RecolourBeyondTheBatchColoursNothing) {
    Add(std::string(100, 'x').c_str());
    ktFakeGl gl;
    ASSERT_TRUE(list.CreateGlObjects(gl.api));
    gl.Forget();
    list.RecolourText(0, 60, 60, red);         // its end becomes 400 - 240, which lies before its start
    list.RecolourText(400, 0, 1, red);         // starts at the end
    list.RecolourText(404, 0, 1, red);         // starts behind it
    list.RecolourText(0, 0xFFFFFFFF, 1, red);  // does not wrap round
    list.RecolourText(0, 99, 0xFFFFFFFF, red); //
    list.RecolourText(-1, 1, 1, red);          // nothing was drawn
    list.RecolourText(0, 3, 0, red);
    for (int32_t i = 0; i < 400; ++i) ASSERT_EQ(Vertex(i).color, white) << i;
    EXPECT_TRUE(gl.Calls().empty());
    list.DeleteGlObjects();
}

TEST_F(DrawText, RecolourWhoseEndPassesTheBatchEndsAsFarFromItsEndAsItStarts) {
    Add(std::string(100, 'x').c_str());
    list.RecolourText(0, 25, 80, red); // 100 to 420 becomes 100 to 300
    for (int32_t i = 0; i < 400; ++i) EXPECT_EQ(Vertex(i).color, i >= 100 && i < 300 ? red : white) << i;
}

TEST_F(DrawText, RecolourUpToTheEndOfTheBatchIsWhole) {
    Add(std::string(100, 'x').c_str());
    list.RecolourText(0, 90, 10, red);
    for (int32_t i = 0; i < 400; ++i) EXPECT_EQ(Vertex(i).color, i >= 360 ? red : white) << i;
}

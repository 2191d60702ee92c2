#include "gui/label.h"

#include <string>

#include <gtest/gtest.h>

#include "gui/draw_list.h"
#include "gui/font.h"
#include "support/test_font.h"

namespace {

std::string TextOf(const ktLabel &label) { return label.text.Copy().data(); }

TEST(Label, ShowsSpacesAtFirst) {
    const ktLabel label;
    EXPECT_EQ(TextOf(label), std::string(254, ' '));
    EXPECT_EQ(label.text_color.Get(), ktColorFrom(0xFFFFFFFF));
    EXPECT_EQ(label.back_color.Get(), ktColorFrom(0xFF000000));
    EXPECT_EQ(label.first_vertex, -1);
    EXPECT_EQ(label.GetKind(), 2u);
}

TEST(Label, ATextOf300BytesKeeps254) {
    ktLabel label;
    label.SetFont(&TestFont());
    label.SetText(std::string(300, 'a').c_str());
    EXPECT_EQ(TextOf(label), std::string(254, 'a'));
    EXPECT_EQ(label.w, 254u * 9);
}

TEST(Label, WithoutAFontKeepsItsOldText) {
    ktLabel label;
    label.SetFont(&TestFont());
    label.SetText("old");
    label.SetFont(nullptr);
    label.SetText("newer");
    EXPECT_EQ(TextOf(label), "old");
    EXPECT_EQ(label.w, 27u);
}

TEST(Label, WithoutATextKeepsItsOldOne) {
    ktLabel label;
    label.SetFont(&TestFont());
    label.SetText("old");
    label.SetText(nullptr);
    EXPECT_EQ(TextOf(label), "old");
}

TEST(Label, IsAsWideAsItsTextAndAsHighAsALine) {
    ktLabel label;
    label.SetFont(&TestFont());
    label.SetText("four");
    EXPECT_EQ(label.w, 36u);
    EXPECT_EQ(label.h, TestFont().LineHeight());
    label.SetText("");
    EXPECT_EQ(label.w, 0u);
    EXPECT_EQ(label.h, TestFont().LineHeight());
}

TEST(Label, HasNoSizeInAFontWithoutAQuestionMark) {
    ktFont font;
    font.atlas_height = 16;
    font.first_char = 32;
    ktLabel label;
    label.SetRect(1, 2, 3, 4);
    label.SetFont(&font);
    label.SetText("text");
    EXPECT_EQ(TextOf(label), "text");
    EXPECT_EQ(label.w, 0u);
    EXPECT_EQ(label.h, 0u);
}

TEST(Label, DrawsItsTextAtItsPlace) {
    ktDrawList list;
    ASSERT_TRUE(list.Reserve());
    list.font = &TestFont();
    ktLabel label;
    label.SetFont(&TestFont());
    label.SetText("Hi");
    label.x = 100;
    label.y = 200;
    label.text_color = ktColorBranch;
    list.AddText(0, 0, "before", 0, ktColorText);
    EXPECT_TRUE(label.Draw(list));
    EXPECT_EQ(label.first_vertex, 24);
    ASSERT_EQ(list.text.vertex_count, 32u);
    const ktGlyph &glyph = TestFont().GlyphOf('H');
    const ktTexturedVertex *vertices = list.text.TexturedAt(24);
    EXPECT_EQ(vertices[0].x, 100 + glyph.bearing_x);
    EXPECT_EQ(vertices[0].y, 200 - 3 + static_cast<int32_t>(TestFont().LineHeight()) - glyph.bearing_y);
    EXPECT_EQ(vertices[0].color, ktColorBranch);
    EXPECT_EQ(vertices[7].color, ktColorBranch);
}

TEST(Label, WithNothingToDrawStillAnswersTrue) {
    ktDrawList list;
    ASSERT_TRUE(list.Reserve());
    list.font = &TestFont();
    ktLabel label;
    label.SetFont(&TestFont());
    label.SetText("");
    EXPECT_TRUE(label.Draw(list));
    EXPECT_EQ(label.first_vertex, -1);
    EXPECT_EQ(list.text.vertex_count, 0u);
}

} // namespace

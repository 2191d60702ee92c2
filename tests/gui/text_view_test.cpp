#include "app/circular_lines.h"
#include "app/log_lines.h"
#include "gui/draw_list.h"
#include "gui/text_view.h"
#include "platform/native_message.h"
#include "support/allocation_count.h"
#include "support/drawn_text.h"
#include "support/key_events.h"
#include "support/recording_lines.h"
#include "support/test_clipboard.h"
#include "support/test_font.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

/// Knows whether its readers hold the lock.
class WatchedLines final : public ktRecordingLines {
public:
    const char *GetLine(uint64_t index) const override {
        if (held == 0) ++unguardedReads;
        ++reads;
        return ktRecordingLines::GetLine(index);
    }
    mutable int reads = 0;
    mutable int unguardedReads = 0;
};

/// A view of 5 rows and 20 columns, at (40, 30).
class TextView : public testing::Test {
protected:
    static constexpr uint32_t rowCount = 5;
    static constexpr uint32_t columnCount = 20;

    void SetUp() override {
        ASSERT_TRUE(list.Reserve());
        list.font = &TestFont();
        lineHeight = TestFont().LineHeight();
        cellWidth = TestFont().max_glyph_width;
        view.SetFont(&TestFont());
        view.lines = &lines;
        view.SetRect(40, 30, columnCount * cellWidth, rowCount * lineHeight);
    }
    /// "line 0" and so on.
    void Add(uint32_t count) {
        for (uint32_t i = 0; i < count; ++i)
            lines.AddLine(("line " + std::to_string(lines.GetLineCount())).c_str());
    }
    Strings Draw() {
        list.text.Clear();
        EXPECT_TRUE(view.Draw(list));
        return DrawnStrings(list);
    }
    uint64_t FirstLine() const { return view.scroll_y / lineHeight; }
    bool Press(uint64_t key) { return view.OnKey(KeyDown(key)); }
    /// A right click in the middle of a cell.
    bool CopyAt(uint32_t column, uint32_t row) {
        return view.OnRightDown(static_cast<int32_t>(view.x + column * cellWidth + cellWidth / 2),
                                static_cast<int32_t>(view.y + row * lineHeight + lineHeight / 2));
    }
    /// What a right click there put on the clipboard; "nothing" when it took nothing.
    std::string Copied(uint32_t column, uint32_t row) {
        clipboard.Set("nothing");
        const bool copied = CopyAt(column, row);
        EXPECT_EQ(copied, clipboard.Text() != "nothing");
        return clipboard.Text();
    }

    uint32_t lineHeight = 0;
    uint32_t cellWidth = 0;
    WatchedLines lines;
    ktDrawList list;
    ktTextView view;
    ktTestClipboard clipboard;
};

} // namespace

TEST_F(TextView, ANewOneFollowsTheEndFromTheTop) {
    const ktTextView fresh;
    EXPECT_EQ(fresh.GetKind(), 5u);
    EXPECT_EQ(fresh.lines.Get(), nullptr);
    EXPECT_TRUE(fresh.auto_scroll);
    EXPECT_FALSE(fresh.bottom_align);
    EXPECT_EQ(fresh.wheel_lines, 3u);
    EXPECT_EQ(fresh.reserved, 0u);
    EXPECT_EQ(fresh.scroll_y, 0u);
    EXPECT_EQ(fresh.text_color, ktColorFrom(0xFFFFFFFF));
    EXPECT_EQ(fresh.back_color, ktColorFrom(0xFF1E1A1A));
    EXPECT_EQ(fresh.back_first, -1);
}

TEST_F(TextView, RowsStandUnderEachOtherInTheRectangle) {
    Add(2);
    Draw();
    const auto texts = DrawnTexts(list);
    ASSERT_EQ(texts.size(), 2u);
    for (int32_t row = 0; row < 2; ++row) {
        const ktDrawnText &text = texts[static_cast<size_t>(row)];
        EXPECT_EQ(text.x, 40);
        EXPECT_EQ(text.y, 30 + row * static_cast<int32_t>(lineHeight));
        EXPECT_EQ(text.text, "line " + std::to_string(row));
        EXPECT_EQ(text.color, view.text_color);
    }
    const ktFlatVertex *back = list.triangles.FlatAt(view.back_first);
    EXPECT_EQ(back[0].x, 40);
    EXPECT_EQ(back[0].y, 30);
    EXPECT_EQ(back[2].x, 40 + static_cast<int32_t>(view.w));
    EXPECT_EQ(back[2].y, 30 + static_cast<int32_t>(view.h));
    EXPECT_EQ(back[0].color, view.back_color);
}

TEST_F(TextView, LaterFramesKeepTheirRectangle) {
    Draw();
    view.x = 50;
    Draw();
    EXPECT_EQ(list.triangles.vertex_count, 4u);
    EXPECT_EQ(list.triangles.FlatAt(view.back_first)->x, 50);
}

TEST_F(TextView, WithoutLinesOrFontThereIsJustTheBack) {
    Add(1);
    view.SetFont(nullptr);
    EXPECT_TRUE(Draw().empty());
    view.SetFont(&TestFont());
    view.lines = nullptr;
    EXPECT_TRUE(Draw().empty());
    EXPECT_EQ(list.triangles.vertex_count, 4u);
    EXPECT_FALSE(list.clip_on);
}

TEST_F(TextView, ShowsTheLastPage) {
    Add(12);
    EXPECT_EQ(Draw(), (Strings{"line 7", "line 8", "line 9", "line 10", "line 11"}));
    EXPECT_EQ(view.scroll_y, 7u * lineHeight);
    EXPECT_EQ(view.last_count, 12u);
    EXPECT_EQ(view.last_w, view.w);
    EXPECT_EQ(view.last_h, view.h);
}

TEST_F(TextView, ANewLineTakesTheViewToTheEndAgain) {
    Add(12);
    Draw();
    Press(ktKeyHome);
    EXPECT_EQ(Draw().front(), "line 0");
    Add(1);
    EXPECT_EQ(Draw().front(), "line 8");
}

TEST_F(TextView, ANewSizeTakesTheViewToTheEndAgain) {
    Add(12);
    Draw();
    Press(ktKeyHome);
    view.w = view.w + 1;
    EXPECT_EQ(Draw().front(), "line 7");
    Press(ktKeyHome);
    view.h = view.h - 1; // one row less
    EXPECT_EQ(Draw(), (Strings{"line 8", "line 9", "line 10", "line 11"}));
}

TEST_F(TextView, WithoutAutoScrollTheViewStays) {
    view.auto_scroll = false;
    Add(12);
    EXPECT_EQ(Draw().front(), "line 0");
    EXPECT_EQ(view.last_count, 0u);
}

TEST_F(TextView, AnEmptiedStoreShowsNothingInTheNextFrame) {
    Add(12);
    Draw();
    lines.Clear();
    EXPECT_TRUE(Draw().empty());
    EXPECT_EQ(view.scroll_y, 0u);
}

TEST_F(TextView, AShortTextStandsAtTheBottomWhenAsked) {
    view.bottom_align = true;
    Add(2);
    Draw();
    const auto texts = DrawnTexts(list);
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(texts[0].y, 30 + 3 * static_cast<int32_t>(lineHeight));
    EXPECT_EQ(texts[1].y, 30 + 4 * static_cast<int32_t>(lineHeight)); // the last row
    Add(3);
    Draw();
    EXPECT_EQ(DrawnTexts(list).front().y, 30);
}

TEST_F(TextView, APartOfARowAtTheBottomStaysEmpty) {
    view.h = rowCount * lineHeight + lineHeight - 1;
    Add(12);
    EXPECT_EQ(Draw().size(), 5u);
    view.h = lineHeight - 1;
    EXPECT_TRUE(Draw().empty());
}

TEST_F(TextView, ReadsItsLinesUnderTheLockAndNoMoreThanTheRows) {
    Add(100);
    lines.reads = 0;
    Draw();
    EXPECT_EQ(lines.reads, 5);
    EXPECT_EQ(lines.unguardedReads, 0);
    EXPECT_EQ(lines.held, 0);
}

TEST_F(TextView, ClipsToItsRectangle) {
    lines.AddLine(std::string(1000, 'W').c_str());
    Draw();
    EXPECT_FALSE(list.clip_on);
    EXPECT_EQ(list.clip_x, 40);
    EXPECT_EQ(list.clip_y, 30);
    EXPECT_EQ(list.clip_w, static_cast<int16_t>(view.w));
    EXPECT_EQ(list.clip_h, static_cast<int16_t>(view.h + 3));
    ASSERT_GT(list.text.vertex_count, 0u);
    EXPECT_LE(list.text.vertex_count, 4 * (columnCount + 1));
    for (uint32_t vertex = 0; vertex < list.text.vertex_count; ++vertex)
        ASSERT_LE(list.text.TexturedAt(static_cast<int32_t>(vertex))->x, 40 + static_cast<int32_t>(view.w));
}

TEST_F(TextView, ALineWithoutEndCostsNoMoreThanALongOne) {
    lines.AddLine((std::string(100000, '\r') + "late").c_str());
    EXPECT_TRUE(Draw().empty());
    lines.lines.front() = std::string(200, '\r') + "soon";
    EXPECT_EQ(Draw(), Strings{"soon"});
}

TEST_F(TextView, TheWheelMovesByThreeLines) {
    Add(20);
    Draw();
    EXPECT_EQ(FirstLine(), 15u);
    EXPECT_TRUE(view.OnWheel(false));
    EXPECT_EQ(FirstLine(), 12u);
    EXPECT_TRUE(view.OnWheel(true));
    EXPECT_EQ(FirstLine(), 15u);
    EXPECT_TRUE(view.OnWheel(true));
    EXPECT_EQ(FirstLine(), 15u); // held at the last page
}

TEST_F(TextView, APageKeyMovesByThreeLinesAsWell) {
    Add(20);
    Draw();
    EXPECT_TRUE(Press(ktKeyPageUp));
    EXPECT_EQ(FirstLine(), 12u);
    EXPECT_TRUE(Press(ktKeyPageDown));
    EXPECT_EQ(FirstLine(), 15u);
}

TEST_F(TextView, ArrowsMoveByOneLineHomeAndEndAllTheWay) {
    Add(20);
    Draw();
    EXPECT_TRUE(Press(ktKeyUp));
    EXPECT_EQ(FirstLine(), 14u);
    EXPECT_TRUE(Press(ktKeyHome));
    EXPECT_EQ(FirstLine(), 0u);
    EXPECT_TRUE(Press(ktKeyUp));
    EXPECT_EQ(FirstLine(), 0u);
    EXPECT_TRUE(Press(ktKeyPageUp));
    EXPECT_EQ(FirstLine(), 0u);
    EXPECT_TRUE(Press(ktKeyDown));
    EXPECT_EQ(FirstLine(), 1u);
    EXPECT_TRUE(Press(ktKeyEnd));
    EXPECT_EQ(FirstLine(), 15u);
    EXPECT_TRUE(Press(ktKeyDown));
    EXPECT_EQ(FirstLine(), 15u);
    EXPECT_EQ(Draw().front(), "line 15"); // drawing does not undo it
}

TEST_F(TextView, ATextThatFitsDoesNotScroll) {
    Add(5);
    Draw();
    for (const uint64_t key : {ktKeyDown, ktKeyEnd, ktKeyPageDown, ktKeyUp}) {
        EXPECT_TRUE(Press(key));
        EXPECT_EQ(view.scroll_y, 0u);
    }
    EXPECT_TRUE(view.OnWheel(true));
    EXPECT_EQ(view.scroll_y, 0u);
}

TEST_F(TextView, AScrollInAStoreThatHasShrunkLandsOnItsLastPage) {
    Add(20);
    Draw();
    lines.lines.resize(8);
    EXPECT_TRUE(Press(ktKeyUp));
    EXPECT_EQ(FirstLine(), 3u);
}

TEST_F(TextView, OtherKeysAndCharactersAreLeftToOthers) {
    Add(20);
    Draw();
    for (uint64_t key = 0; key < 256; ++key) {
        EXPECT_FALSE(view.OnKey(Character(key))) << key;
        const bool isOwn = key >= ktKeyPageUp && key <= ktKeyDown && key != ktKeyLeft && key != ktKeyRight;
        EXPECT_TRUE(isOwn || !Press(key)) << key;
    }
    EXPECT_EQ(FirstLine(), 15u);
}

TEST_F(TextView, WithoutLinesOrFontThereIsNothingToScroll) {
    view.lines = nullptr;
    EXPECT_FALSE(Press(ktKeyDown));
    EXPECT_FALSE(view.OnWheel(true));
    view.lines = &lines;
    view.SetFont(nullptr);
    EXPECT_FALSE(Press(ktKeyDown));
    EXPECT_FALSE(view.OnWheel(true));
}

TEST_F(TextView, ARightClickInTheFirstColumnCopiesTheLine) {
    lines.AddLine("first one here");
    lines.AddLine("second one here");
    EXPECT_EQ(Copied(0, 1), "second one here");
    EXPECT_EQ(lines.unguardedReads, 0);
}

TEST_F(TextView, ARightClickInTheLastColumnCopiesTheWholeStore) {
    lines.AddLine("first one here");
    lines.AddLine("second one here");
    EXPECT_EQ(Copied(columnCount - 1, 0), "first one here\nsecond one here");
    EXPECT_EQ(Copied(columnCount - 1, 2), "nothing"); // below the text
}

TEST_F(TextView, ARightClickElsewhereCopiesTheWord) {
    lines.AddLine("first\tone here");
    EXPECT_EQ(Copied(2, 0), "first");
    EXPECT_EQ(Copied(6, 0), "one");
    EXPECT_EQ(Copied(13, 0), "here");
    EXPECT_EQ(Copied(14, 0), "nothing");
    EXPECT_EQ(Copied(5, 0), "nothing");
}

TEST_F(TextView, TheColumnsOfARightClickAreAsWideAsTheWidestGlyph) {
    ktFont wide;
    wide.first_char = ' ';
    wide.char_count = 1;
    wide.glyphs = std::make_unique<ktGlyph[]>(1);
    wide.glyphs[0].advance = 9 * 64;
    wide.max_glyph_width = 12;
    wide.atlas_height = 16;
    view.SetFont(&wide);
    view.w = 240;
    lines.AddLine("ab cd");
    clipboard.Set("nothing");
    EXPECT_FALSE(view.OnRightDown(40 + 3 * 9 + 6, 31)); // drawn there is a c, in the third column a blank
    EXPECT_TRUE(view.OnRightDown(40 + 3 * 12, 31));
    EXPECT_EQ(clipboard.Text(), "cd");
    EXPECT_TRUE(view.OnRightDown(40 + 19 * 12, 31));
    EXPECT_EQ(clipboard.Text(), "ab cd");
}

TEST_F(TextView, InAViewOfOneColumnARightClickCopiesTheLine) {
    lines.AddLine("first one here");
    lines.AddLine("second one here");
    view.w = cellWidth;
    EXPECT_EQ(Copied(0, 0), "first one here");
}

TEST_F(TextView, ARightClickInTheFirstColumnCopiesAnEmptyLineToo) {
    lines.AddLine("");
    EXPECT_EQ(Copied(0, 0), "");
}

TEST_F(TextView, WithoutMemoryARightClickLeavesTheClipboardAlone) {
    lines.AddLine("first one here");
    lines.isPoor = true;
    EXPECT_EQ(Copied(columnCount - 1, 0), "nothing");
    EXPECT_EQ(lines.held, 0);
}

TEST_F(TextView, ARightClickBelowTheTextCopiesNothing) {
    lines.AddLine("first one here");
    EXPECT_EQ(Copied(0, 1), "nothing");
}

TEST_F(TextView, ARightClickFollowsTheScrolledText) {
    Add(20);
    Draw();
    EXPECT_EQ(Copied(0, 1), "line 16");
    view.OnWheel(false);
    EXPECT_EQ(Copied(0, 1), "line 13");
}

TEST_F(TextView, ARightClickFindsTheRowsOfAShortTextAtTheBottom) {
    view.bottom_align = true;
    lines.AddLine("first one here");
    lines.AddLine("second one here");
    EXPECT_EQ(Copied(0, 3), "first one here");
    EXPECT_EQ(Copied(0, 4), "second one here");
    EXPECT_EQ(Copied(0, 2), "nothing");
    EXPECT_EQ(Copied(columnCount - 1, 0), "nothing");
}

TEST_F(TextView, ARightClickOutsideCopiesNothing) {
    lines.AddLine("first one here");
    EXPECT_FALSE(view.OnRightDown(39, 31));
    EXPECT_FALSE(view.OnRightDown(41, 29));
    EXPECT_EQ(clipboard.Text(), "");
}

TEST_F(TextView, ARightClickNeedsFontAndLines) {
    lines.AddLine("first one here");
    view.SetFont(nullptr);
    EXPECT_FALSE(view.OnRightDown(41, 31));
    view.SetFont(&TestFont());
    view.lines = nullptr;
    EXPECT_FALSE(view.OnRightDown(41, 31));
}

TEST_F(TextView, AClipboardThatCannotBeHadDropsTheCopy) {
    lines.AddLine("first one here");
    clipboard.Refuse();
    EXPECT_FALSE(CopyAt(0, 0));
    EXPECT_EQ(lines.held, 0);
}

TEST_F(TextView, TheOtherButtonsDoNothing) {
    EXPECT_TRUE(view.OnRightUp(41, 31));
    EXPECT_FALSE(view.OnLeftDown(41, 31));
    EXPECT_FALSE(view.OnLeftUp(41, 31));
    EXPECT_FALSE(view.SetFocus(true));
}

TEST_F(TextView, ShowsAndCopiesAStoreThatGrows) {
    ktLogLines log;
    ASSERT_TRUE(log.Reserve());
    log.AddLine("one whole line");
    log.Append("an open", 7);
    view.lines = &log;
    EXPECT_EQ(Draw(), (Strings{"one whole line", "an open"}));
    EXPECT_EQ(Copied(0, 1), "an open");
    EXPECT_EQ(Copied(columnCount - 1, 0), "one whole line\nan open");
}

TEST_F(TextView, ShowsAStoreThatForgetsItsOldestLines) {
    ktCircularLines log;
    ASSERT_TRUE(log.Reserve());
    view.lines = &log;
    const std::string filler(1000, 'x');
    for (uint32_t i = 0; i < 3000; ++i) log.AddLine((std::to_string(i) + ' ' + filler).c_str());
    const Strings shown = Draw();
    ASSERT_EQ(shown.size(), 5u);
    EXPECT_EQ(shown.back().substr(0, 5), "2999 ");
}

TEST_F(TextView, AStoreThatForgetsAsManyLinesAsItGetsMovesUnderTheView) {
    ktCircularLines log;
    ASSERT_TRUE(log.Reserve());
    view.lines = &log;
    const std::string filler(1000, 'x');
    uint32_t next = 0;
    const auto add = [&] { log.AddLine((std::to_string(next++) + ' ' + filler).c_str()); };
    while (next < 3000) add();
    Draw();
    view.OnWheel(false);
    const std::string first = Draw().front().substr(0, 5);
    const uint64_t count = log.GetLineCount();
    add();
    ASSERT_EQ(log.GetLineCount(), count); // the oldest one went
    // The count tells of no change, so the view stays where it was scrolled to; the text moves by a line.
    EXPECT_EQ(Draw().front().substr(0, 5), std::to_string(std::stoul(first) + 1) + ' ');
}

TEST_F(TextView, AFrameAllocatesNothing) {
    Add(100);
    Draw();
    list.text.Clear();
    const uint64_t before = AllocationCount();
    view.Draw(list);
    EXPECT_EQ(AllocationCount(), before);
}

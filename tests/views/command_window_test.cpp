#include "app/log_lines.h"
#include "commands/cmd_processor.h"
#include "platform/native_message.h"
#include "platform/thread.h"
#include "support/allocation_count.h"
#include "support/draw_loop.h"
#include "support/drawn_text.h"
#include "support/key_events.h"
#include "support/processor_fixture.h"
#include "support/recording_lines.h"
#include "support/test_clipboard.h"
#include "support/test_font.h"
#include "views/command_window.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

struct Rectangle {
    uint32_t x, y, w, h;
    friend bool operator==(const Rectangle &, const Rectangle &) = default;
};

Rectangle RectangleOf(const ktComponent &component) {
    return {component.x, component.y, component.w, component.h};
}

class CommandWindow : public ktProcessorFixture {
protected:
    void SetUp() override {
        ktProcessorFixture::SetUp();
        ASSERT_TRUE(page.draw_list.Reserve());
        page.SetFont(&TestFont());
        page.SetSize(1440, 990);
        page.SetProcessor(&processor);
        page.SetLines(&lines);
        lineHeight = TestFont().LineHeight();
    }
    std::string Typed() const { return page.input.text.Copy().data(); }

    uint32_t lineHeight = 0;
    ktRecordingLines lines;
    ktCommandWindow page;
    ktTestClipboard clipboard;
};

} // namespace

TEST_F(CommandWindow, HitsItsComponentsInOrder) {
    const std::vector<ktComponent *> expected = {&page.clear, &page.copy, &page.title,
                                                 &page.input, &page.view, &page.prompt_label};
    EXPECT_EQ(page.components, expected);
}

TEST_F(CommandWindow, LaysOutForAnySize) {
    const uint32_t titleWidth = TestFont().TextWidth("Command window");
    const uint32_t sizes[][2] = {{1440, 990}, {2560, 1440}, {400, 300}};
    for (const auto &[w, h] : sizes) {
        page.SetSize(w, h);
        EXPECT_EQ(page.w, w);
        EXPECT_EQ(page.h, h);
        EXPECT_EQ(RectangleOf(page.prompt_label), (Rectangle{0, h - lineHeight, w, lineHeight}));
        EXPECT_EQ(RectangleOf(page.input), (Rectangle{0, h - 2 * lineHeight, w, lineHeight}));
        EXPECT_EQ(RectangleOf(page.view), (Rectangle{0, 100, w, h - 2 * lineHeight - 100}));
        EXPECT_EQ(RectangleOf(page.clear), (Rectangle{w - 50, 100, 20, 20}));
        EXPECT_EQ(RectangleOf(page.copy), (Rectangle{w - 30, 100, 20, 20}));
        EXPECT_EQ(RectangleOf(page.title),
                  (Rectangle{w - titleWidth - 10, 95 - lineHeight, titleWidth, lineHeight}));
    }
}

TEST_F(CommandWindow, FollowsItsOwnPosition) {
    page.x = 7;
    page.y = 11;
    page.SetSize(1000, 800);
    EXPECT_EQ(RectangleOf(page.prompt_label), (Rectangle{7, 811 - lineHeight, 1000, lineHeight}));
    EXPECT_EQ(RectangleOf(page.view), (Rectangle{7, 111, 1000, 700 - 2 * lineHeight}));
    EXPECT_EQ(RectangleOf(page.clear), (Rectangle{957, 111, 20, 20}));
    EXPECT_EQ(page.title.y, 106 - lineHeight);
    EXPECT_EQ(page.title.x, 990 - page.title.w);
}

TEST_F(CommandWindow, WithoutAFontALineIsTwentyPixels) {
    ktCommandWindow bare;
    bare.SetSize(1000, 800);
    EXPECT_EQ(RectangleOf(bare.input), (Rectangle{0, 760, 1000, 20}));
    EXPECT_EQ(RectangleOf(bare.view), (Rectangle{0, 100, 1000, 660}));
}

TEST_F(CommandWindow, AWindowAsLowAsItsBandHasAnEmptyView) {
    page.SetSize(100, 100);
    EXPECT_EQ(page.view.h, 0u);
    lines.AddLine("hidden");
    page.Draw();
    for (const std::string &text : DrawnStrings(page.draw_list)) EXPECT_NE(text, "hidden");
}

TEST_F(CommandWindow, ItsViewStandsOnTheCommandLine) {
    EXPECT_TRUE(page.view.bottom_align);
    lines.AddLine("the last line");
    page.Draw();
    for (const ktDrawnText &text : DrawnTexts(page.draw_list)) {
        if (text.text != "the last line") continue;
        const uint32_t rest = page.view.h % lineHeight;
        EXPECT_EQ(static_cast<uint32_t>(text.y), page.input.y - lineHeight - rest);
        return;
    }
    FAIL() << "the line is not shown";
}

TEST_F(CommandWindow, ShowsItsTitleAndTheBlankLabel) {
    page.Draw();
    const auto texts = DrawnStrings(page.draw_list);
    EXPECT_EQ(texts, (std::vector<std::string>{std::string(254, ' '), "Command window"}));
}

TEST_F(CommandWindow, TypingDoesNothingUntilTheInputHasTheFocus) {
    TypeText(page, "now");
    EXPECT_FALSE(page.OnKey(KeyDown(ktKeyEnter)));
    EXPECT_EQ(page.focus, nullptr);
    EXPECT_EQ(Typed(), "");
    EXPECT_EQ(now.runs, 0u);
}

TEST_F(CommandWindow, AltGraveGivesTheInputTheFocus) {
    EXPECT_TRUE(page.OnKey(KeyDown(ktKeyGrave, ktModAlt)));
    EXPECT_EQ(page.focus, &page.input);
    TypeText(page, "now");
    EXPECT_EQ(Typed(), "now");
    page.OnKey(KeyDown(ktKeyEnter));
    EXPECT_EQ(now.runs, 1u);
    EXPECT_EQ(Typed(), "");
}

TEST_F(CommandWindow, AltGraveInTheInputIsTheInputs) {
    page.OnKey(KeyDown(ktKeyGrave, ktModAlt));
    EXPECT_TRUE(page.OnKey(KeyDown(ktKeyGrave, ktModAlt)));
    EXPECT_EQ(page.focus, &page.input);
    EXPECT_EQ(Typed(), "");
}

TEST_F(CommandWindow, GraveWithOtherModifiersDoesNotMoveTheFocus) {
    for (const uint32_t mods : {0u, 1u, 3u, 4u, 6u}) {
        EXPECT_FALSE(page.OnKey(KeyDown(ktKeyGrave, mods)));
        EXPECT_EQ(page.focus, nullptr);
    }
}

TEST_F(CommandWindow, AClickGivesTheInputTheFocus) {
    EXPECT_TRUE(page.OnLeftDown(300, static_cast<int32_t>(page.input.y) + 5));
    EXPECT_EQ(page.focus, &page.input);
    EXPECT_TRUE(page.input.has_focus);
}

TEST_F(CommandWindow, TheButtonsInTheViewsCornerTakeThePress) {
    const int32_t clearX = static_cast<int32_t>(page.clear.x) + 10;
    const int32_t copyX = static_cast<int32_t>(page.copy.x) + 10;
    ASSERT_TRUE(page.view.HitTest(clearX, 110));
    ASSERT_TRUE(page.view.HitTest(copyX, 110));
    lines.AddLine("one");
    lines.AddLine("two");
    EXPECT_TRUE(page.OnLeftDown(copyX, 110));
    EXPECT_TRUE(page.OnLeftUp(copyX, 110));
    EXPECT_EQ(clipboard.Text(), "one\ntwo");
    EXPECT_TRUE(page.OnLeftDown(clearX, 110));
    EXPECT_EQ(page.focus, &page.clear);
    EXPECT_TRUE(page.OnLeftUp(clearX, 110));
    EXPECT_TRUE(lines.lines.empty());
    EXPECT_TRUE(lines.clearedUnderLock);
}

TEST_F(CommandWindow, IsDrawnWhileItIsTypedInAndWrittenTo) {
    ktLogLines log;
    ASSERT_TRUE(log.Reserve());
    page.SetLines(&log);
    page.OnKey(KeyDown(ktKeyGrave, ktModAlt));
    clipboard.Set("pasted");
    ktThread writer;
    ASSERT_TRUE(writer.Start(
        [](void *argument) {
            for (int i = 0; i < 2000; ++i) static_cast<ktLogLines *>(argument)->AddLine("a line of output");
        },
        &log));
    ktDrawLoop frames(page);
    for (uint32_t i = 0; i < 50; ++i) {
        TypeText(page, "now text");
        page.OnKey(KeyDown(ktKeyHome));
        page.OnKey(KeyDown('V', ktModCtrl));
        page.OnKey(KeyDown(ktKeyEnter));
        page.OnKey(KeyDown(ktKeyUp));
        page.OnKey(KeyDown(ktKeyEscape));
        page.SetSize(1000 + i, 700 + i);
        page.view.OnWheel(false);
        page.view.OnRightDown(5, 400);
        page.OnMouseMove(static_cast<int32_t>(page.clear.x) + 5, 110);
        if (i % 10 == 0) frames.WaitForFrame();
    }
    writer.Join();
    TypeText(page, "the end");
    frames.WaitForFrame();
    frames.Stop();
    const auto texts = DrawnStrings(page.draw_list);
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "the end"), 1);
    EXPECT_EQ(static_cast<uint64_t>(std::count(texts.begin(), texts.end(), "a line of output")),
              page.view.h / lineHeight);
}

TEST_F(CommandWindow, AFrameAllocatesNothing) {
    for (int i = 0; i < 200; ++i) lines.AddLine("a line of output");
    page.input.SetText("typed");
    page.Draw();
    const uint64_t before = AllocationCount();
    page.Draw();
    EXPECT_EQ(AllocationCount(), before);
}

#include "app/circular_lines.h"
#include "platform/native_message.h"
#include "support/drawn_text.h"
#include "support/key_events.h"
#include "support/test_clipboard.h"
#include "support/test_font.h"
#include "views/log_window.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

class LogWindow : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(lines.Reserve());
        ASSERT_TRUE(page.draw_list.Reserve());
        page.SetFont(&TestFont());
        page.SetSize(1440, 990);
        page.SetLines(&lines, "Log window");
    }
    Strings Draw() {
        page.Draw();
        return DrawnStrings(page.draw_list);
    }
    void Click(const ktComponent &component) {
        const auto px = static_cast<int32_t>(component.x + component.w / 2);
        const auto py = static_cast<int32_t>(component.y + component.h / 2);
        page.OnLeftDown(px, py);
        page.OnLeftUp(px, py);
    }

    ktCircularLines lines;
    ktLogWindow page;
    ktTestClipboard clipboard;
};

} // namespace

TEST_F(LogWindow, HitsItsComponentsInOrder) {
    const std::vector<ktComponent *> expected = {&page.clear, &page.copy, &page.view, &page.title};
    EXPECT_EQ(page.components, expected);
}

TEST_F(LogWindow, LaysOutForAnySize) {
    const uint32_t lineHeight = TestFont().LineHeight();
    const uint32_t titleWidth = TestFont().TextWidth("Log window");
    const uint32_t sizes[][2] = {{1440, 990}, {2560, 1440}, {400, 300}};
    for (const auto &[w, h] : sizes) {
        page.SetSize(w, h);
        EXPECT_EQ(page.view.x, 0u);
        EXPECT_EQ(page.view.y, 100u);
        EXPECT_EQ(page.view.w, w);
        EXPECT_EQ(page.view.h, h - 200);
        EXPECT_EQ(page.title.x, w - titleWidth - 10);
        EXPECT_EQ(page.title.y, 95 - lineHeight);
        EXPECT_EQ(page.title.w, titleWidth);
    }
}

TEST_F(LogWindow, ResizingMovesTheButtonsWithTheRightEdge) {
    for (const uint32_t w : {1440u, 800u, 2000u}) {
        page.SetSize(w, 600);
        EXPECT_EQ(page.clear.x, w - 50);
        EXPECT_EQ(page.copy.x, w - 30);
        for (const ktComponent *button : {page.components[0], page.components[1]}) {
            EXPECT_EQ(button->y, 100u);
            EXPECT_EQ(button->w, 20u);
            EXPECT_EQ(button->h, 20u);
        }
    }
}

TEST_F(LogWindow, AWindowAsLowAsItsBandsHasAnEmptyView) {
    page.SetSize(150, 150);
    EXPECT_EQ(page.view.h, 0u);
    lines.AddLine("hidden");
    EXPECT_EQ(Draw(), Strings{"Log window"});
}

TEST_F(LogWindow, ATitleThatIsSetLaterStandsAtTheRightEdge) {
    page.SetLines(&lines, "Remote log window");
    EXPECT_EQ(page.title.x, 1440 - TestFont().TextWidth("Remote log window") - 10);
    EXPECT_EQ(Draw(), Strings{"Remote log window"});
}

TEST_F(LogWindow, ShowsTheStoreFromTheTopUnderItsTitle) {
    lines.AddLine("first");
    lines.AddLine("second");
    EXPECT_EQ(Draw(), (Strings{"Log window", "first", "second"}));
    EXPECT_EQ(DrawnTexts(page.draw_list)[1].y, 100);
}

TEST_F(LogWindow, TheClearButtonEmptiesTheStoreAndTheNextFrameShowsNothing) {
    lines.AddLine("first");
    Draw();
    Click(page.clear);
    EXPECT_EQ(lines.GetLineCount(), 0u);
    EXPECT_EQ(Draw(), Strings{"Log window"});
}

TEST_F(LogWindow, TheCopyButtonCopiesTheStore) {
    lines.AddLine("first");
    lines.AddLine("second");
    Click(page.copy);
    EXPECT_EQ(clipboard.Text(), "first\nsecond");
    EXPECT_EQ(lines.GetLineCount(), 2u);
}

TEST_F(LogWindow, TheButtonsLieOverTheView) {
    EXPECT_TRUE(page.view.HitTest(static_cast<int32_t>(page.clear.x) + 10, 110));
    Click(page.clear);
    EXPECT_EQ(page.focus, &page.clear);
    Click(page.copy);
    EXPECT_EQ(page.focus, &page.copy);
}

TEST_F(LogWindow, AClickOnTheViewLetsTheKeysScrollIt) {
    for (int i = 0; i < 200; ++i) lines.AddLine(("line " + std::to_string(i)).c_str());
    Draw();
    EXPECT_FALSE(page.OnKey(KeyDown(ktKeyHome)));
    page.OnLeftDown(300, 300);
    EXPECT_EQ(page.focus, &page.view);
    EXPECT_TRUE(page.OnKey(KeyDown(ktKeyHome)));
    EXPECT_EQ(Draw()[1], "line 0");
    EXPECT_TRUE(page.OnWheel(true));
    EXPECT_EQ(Draw()[1], "line 3");
}

TEST_F(LogWindow, ARightClickOnTheViewCopiesTheLine) {
    lines.AddLine("first one");
    EXPECT_TRUE(page.OnRightDown(2, 105));
    EXPECT_EQ(clipboard.Text(), "first one");
    EXPECT_EQ(page.focus, &page.view);
}

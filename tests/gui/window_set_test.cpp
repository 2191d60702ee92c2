#include "gui/window_set.h"

#include <cstdint>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "gui/key_event.h"
#include "support/recording_window.h"

namespace {

class WindowSet : public testing::Test {
protected:
    WindowSet() : overlay(log, "overlay"), a(log, "a"), b(log, "b") {
        set.overlay = &overlay;
        set.AddWindow(a);
        set.AddWindow(b);
        set.show_keys[ktCodeAlt | '1'] = &a;
        set.show_keys[ktCodeAlt | '2'] = &b;
        set.hot_keys[122] = &b;
        set.Show(a);
    }

    static ktKeyEvent Key(uint64_t key, uint64_t flags = 0) {
        ktKeyEvent event;
        event.key = key;
        event.code = key | flags;
        return event;
    }

    ktEventLog log;
    ktRecordingWindow overlay;
    ktRecordingWindow a;
    ktRecordingWindow b;
    ktPlainWindowSet set;
};

TEST_F(WindowSet, PagesGetTheirPlaceAsIndex) {
    EXPECT_EQ(a.index, 0u);
    EXPECT_EQ(b.index, 1u);
    EXPECT_EQ(set.windows, (std::vector<ktWindow *>{&a, &b}));
}

TEST_F(WindowSet, OnlyTheShownPageIsVisible) {
    EXPECT_EQ(set.VisibleCount(), 1u);
    EXPECT_EQ(set.Visible(0), &a);
    EXPECT_EQ(set.Visible(1), nullptr);
    set.Show(b);
    EXPECT_EQ(set.VisibleCount(), 1u);
    EXPECT_EQ(set.Visible(0), &b);
}

TEST_F(WindowSet, AWindowThatIsNoPageIsNotShown) {
    ktRecordingWindow stranger(log, "stranger");
    set.Show(stranger);
    EXPECT_EQ(set.Visible(0), &a);
    stranger.index = 7;
    set.Show(stranger);
    EXPECT_EQ(set.Visible(0), &a);
}

TEST_F(WindowSet, TakesSixteenPages) {
    std::vector<std::unique_ptr<ktRecordingWindow>> more;
    for (uint32_t at = 2; at < ktWindowSet::maxWindows; ++at) {
        more.push_back(std::make_unique<ktRecordingWindow>(log, "more"));
        EXPECT_TRUE(set.AddWindow(*more.back()));
    }
    ktRecordingWindow oneTooMany(log, "oneTooMany");
    EXPECT_FALSE(set.AddWindow(oneTooMany));
    EXPECT_EQ(set.windows.size(), 16u);
}

TEST_F(WindowSet, WithoutPagesOnlyTheOverlayIsAsked) {
    set.ClearWindows();
    EXPECT_EQ(set.VisibleCount(), 0u);
    EXPECT_EQ(set.Visible(0), nullptr);
    EXPECT_FALSE(set.OnKey(Key('1', ktCodeAlt)));
    EXPECT_FALSE(set.OnLeftDown(5, 5));
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 49", "overlay OnLeftDown 5 5"}));
}

TEST_F(WindowSet, WithNothingAtAllInputIsLost) {
    ktPlainWindowSet empty;
    EXPECT_FALSE(empty.OnKey(Key(65)));
    EXPECT_FALSE(empty.OnLeftDown(5, 5));
    EXPECT_FALSE(empty.OnMouseMove(5, 5));
    EXPECT_FALSE(empty.OnWheel(true));
    empty.SetSize(10, 10);
}

TEST_F(WindowSet, AShowKeyShowsItsPageAndNobodyElseHearsOfIt) {
    EXPECT_TRUE(set.OnKey(Key('2', ktCodeAlt)));
    EXPECT_EQ(set.Visible(0), &b);
    EXPECT_TRUE(log.empty());
}

TEST_F(WindowSet, AShowKeyWithAnotherModifierIsAnOrdinaryKey) {
    set.OnKey(Key('2', ktCodeAlt | ktCodeShift));
    set.OnKey(Key('2'));
    set.OnKey(Key('2', ktCodeAlt | ktCodeChar));
    EXPECT_EQ(set.Visible(0), &a);
}

TEST_F(WindowSet, AHotKeyReachesItsPageWhicheverIsOnShow) {
    b.answer = true;
    EXPECT_TRUE(set.OnKey(Key(122)));
    EXPECT_EQ(log, (ktEventLog{"b OnHotKey 122"}));
    EXPECT_EQ(set.Visible(0), &a);
}

TEST_F(WindowSet, AHotKeyThatIsRefusedGoesOnAsAnOrdinaryKey) {
    EXPECT_FALSE(set.OnKey(Key(122)));
    EXPECT_EQ(log, (ktEventLog{"b OnHotKey 122", "overlay OnKey 122", "a OnKey 122"}));
}

TEST_F(WindowSet, AHotKeyWithAModifierIsAnOrdinaryKey) {
    set.OnKey(Key(122, ktCodeCtrl));
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 122", "a OnKey 122"}));
}

TEST_F(WindowSet, KeysGoToTheOverlayAndThenToThePageOnShow) {
    EXPECT_FALSE(set.OnKey(Key(65)));
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 65", "a OnKey 65"}));
    log.clear();
    overlay.answer = true;
    EXPECT_TRUE(set.OnKey(Key(65)));
    EXPECT_EQ(log, (ktEventLog{"overlay OnKey 65"}));
}

TEST_F(WindowSet, PressesAndReleasesGoToTheOverlayAndThenToThePageUnderThem) {
    a.answer = true;
    EXPECT_TRUE(set.OnLeftDown(5, 6));
    EXPECT_TRUE(set.OnLeftUp(5, 6));
    EXPECT_TRUE(set.OnRightDown(5, 6));
    EXPECT_TRUE(set.OnRightUp(5, 6));
    EXPECT_EQ(log, (ktEventLog{"overlay OnLeftDown 5 6", "a OnLeftDown 5 6", "overlay OnLeftUp 5 6",
                               "a OnLeftUp 5 6", "overlay OnRightDown 5 6", "a OnRightDown 5 6",
                               "overlay OnRightUp 5 6", "a OnRightUp 5 6"}));
}

TEST_F(WindowSet, APressThatTheOverlayTakesReachesNoPage) {
    overlay.answer = true;
    EXPECT_TRUE(set.OnLeftDown(5, 6));
    EXPECT_EQ(log, (ktEventLog{"overlay OnLeftDown 5 6"}));
}

TEST_F(WindowSet, APressBesideThePageReachesItNot) {
    EXPECT_FALSE(set.OnLeftDown(1000, 6));
    EXPECT_EQ(log, (ktEventLog{"overlay OnLeftDown 1000 6"}));
}

TEST_F(WindowSet, MovesReachThePageAfterTheOverlay) {
    EXPECT_FALSE(set.OnMouseMove(5, 6));
    EXPECT_EQ(log, (ktEventLog{"overlay OnMouseMove 5 6", "a OnMouseMove 5 6"}));
    log.clear();
    EXPECT_FALSE(set.OnMouseMove(-1, 6));
    EXPECT_EQ(log, (ktEventLog{"overlay OnMouseMove -1 6"}));
}

TEST_F(WindowSet, TheWheelNeedsNoPointerOverThePage) {
    a.SetSize(0, 0);
    log.clear();
    a.answer = true;
    EXPECT_TRUE(set.OnWheel(true));
    EXPECT_EQ(log, (ktEventLog{"overlay OnWheel 1", "a OnWheel 1"}));
    log.clear();
    overlay.answer = true;
    EXPECT_TRUE(set.OnWheel(false));
    EXPECT_EQ(log, (ktEventLog{"overlay OnWheel 0"}));
}

TEST_F(WindowSet, ASizeGoesToThePagesInTheirOrderAndThenToTheOverlay) {
    set.SetSize(640, 480);
    EXPECT_EQ(log, (ktEventLog{"a SetSize 640 480", "b SetSize 640 480", "overlay SetSize 640 480"}));
}

} // namespace

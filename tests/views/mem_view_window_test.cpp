#include "platform/native_message.h"
#include "platform/thread.h"
#include "support/allocation_count.h"
#include "support/draw_loop.h"
#include "support/drawn_text.h"
#include "support/key_events.h"
#include "support/session_rig.h"
#include "support/test_font.h"
#include "views/mem_view_window.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

/// The page at a connected session whose memory is mapped from 400000 to 404000.
class MemViewWindow : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(rig.ConnectQuietly());
        ASSERT_TRUE(page.draw_list.Reserve());
        page.SetFont(&TestFont());
        page.SetSize(1440, 990);
        page.SetSession(&rig.session);
        page.SetConnected(true);
    }
    void TearDown() override { Wait(); }
    void Wait() { rig.processor.Worker().WaitUntilIdle(); }
    /// What stands in the view, blanks at the ends of rows included.
    Strings Draw() {
        page.Draw();
        return DrawnStrings(page.draw_list);
    }
    bool Enter(const char *text) {
        page.MoveFocus(&page.input);
        page.input.SetText(text);
        return page.OnKey(KeyDown(ktKeyEnter));
    }
    /// Enters an address and shows its memory; the input's own row is left out.
    Strings RowsAt(const char *address) {
        Enter(address);
        Wait();
        page.input.Clear();
        return Draw();
    }
    bool Press(uint64_t key) { return page.view.OnKey(KeyDown(key)); }
    uint64_t Asked() const { return page.view.request.address.value; }

    ktSessionRig rig;
    ktMemViewWindow page;
};

} // namespace

TEST_F(MemViewWindow, HitsItsComponentsInOrder) {
    const std::vector<ktComponent *> expected = {&page.view, &page.input};
    EXPECT_EQ(page.components, expected);
    EXPECT_EQ(page.view.GetKind(), 8u);
}

TEST_F(MemViewWindow, LaysOutForAnySize) {
    const uint32_t lineHeight = TestFont().LineHeight();
    const uint32_t sizes[][2] = {{1440, 990}, {1443, 700}, {100, 100}};
    for (const auto &[w, h] : sizes) {
        page.SetSize(w, h);
        EXPECT_EQ(page.view.x, 0u);
        EXPECT_EQ(page.view.y, 200u);
        EXPECT_EQ(page.view.w, w / 4 * 3);
        EXPECT_EQ(page.view.h, h < 350 ? 0 : h - 350);
        EXPECT_EQ(page.input.x, 0u);
        EXPECT_EQ(page.input.y, 200 - lineHeight);
        EXPECT_EQ(page.input.w, w / 4 * 3);
        EXPECT_EQ(page.input.h, lineHeight);
    }
    ktMemViewWindow bare;
    bare.SetSize(1000, 800);
    EXPECT_EQ(bare.input.y, 180u);
    EXPECT_EQ(bare.input.h, 20u);
}

TEST_F(MemViewWindow, ANewViewAsksForNothing) {
    const ktMemoryView &view = page.view;
    EXPECT_EQ(view.base.kind, ktAddress::kindNone);
    EXPECT_EQ(view.delta, 0);
    EXPECT_EQ(view.request.address.kind, ktAddress::kindNone);
    EXPECT_EQ(view.request.buffer, view.bytes);
    EXPECT_EQ(view.request.size, 2048u);
    EXPECT_EQ(view.request.pending, 0u);
    EXPECT_EQ(view.format.columns, 16u);
    EXPECT_EQ(view.format.element_size, 1u);
    EXPECT_EQ(view.format.flags, 21u);
    EXPECT_EQ(view.format.width, 256u);
    EXPECT_EQ(view.format.sink, nullptr);
}

TEST_F(MemViewWindow, TheRequestIsInTheListOfItsSession) {
    const std::list<ktMemViewRequest *> own = {&page.view.request};
    EXPECT_EQ(rig.session.memViewRequests, own);
    ktSession other(rig.host, ktSessionRig::fakes);
    page.SetSession(&other);
    EXPECT_TRUE(rig.session.memViewRequests.empty());
    EXPECT_EQ(other.memViewRequests, own);
    page.SetSession(nullptr);
    EXPECT_TRUE(other.memViewRequests.empty());
}

TEST_F(MemViewWindow, AViewThatGoesTakesItsRequestAlong) {
    auto more = std::make_unique<ktMemViewWindow>();
    more->SetSession(&rig.session);
    EXPECT_EQ(rig.session.memViewRequests.size(), 2u);
    more.reset();
    EXPECT_EQ(rig.session.memViewRequests, std::list<ktMemViewRequest *>{&page.view.request});
}

TEST_F(MemViewWindow, BeforeATargetIsConnectedItSaysSo) {
    page.SetConnected(false);
    EXPECT_EQ(Draw(), Strings{"Target not connected"});
    const ktDrawnText text = DrawnTexts(page.draw_list).front();
    EXPECT_EQ(text.x, 0);
    EXPECT_EQ(text.y, 200);
    ktMemViewWindow bare;
    ASSERT_TRUE(bare.draw_list.Reserve());
    bare.SetFont(&TestFont());
    bare.SetSize(1440, 990);
    bare.Draw();
    EXPECT_EQ(DrawnStrings(bare.draw_list), Strings{"Target not connected"});
}

TEST_F(MemViewWindow, AnUntouchedViewOfAConnectedTargetIsBlank) {
    EXPECT_TRUE(Draw().empty());
    const ktFlatVertex *back = page.draw_list.triangles.FlatAt(page.view.back_first);
    EXPECT_EQ(back[0].y, 200);
    EXPECT_EQ(back[2].x, 1080);
    EXPECT_EQ(back[2].y, 840);
    EXPECT_EQ(back[0].color, ktColorFrom(0xFF1E1A1A));
    EXPECT_FALSE(page.draw_list.clip_on);
}

TEST_F(MemViewWindow, WithoutAFontNothingIsDrawn) {
    page.SetFont(nullptr);
    EXPECT_FALSE(page.view.Draw(page.draw_list));
    EXPECT_EQ(page.draw_list.triangles.vertex_count, 0u);
}

TEST_F(MemViewWindow, EnterShowsTheMemoryAtTheAddress) {
    rig.target.Poke(0x400000, {0x41, 0x42, 0x00, 0x7F});
    const Strings rows = RowsAt("400000");
    ASSERT_EQ(rows.size(), 640 / TestFont().LineHeight());
    EXPECT_EQ(rows[0].substr(0, 30), "0000000000400000: 41 42 00 7F ");
    EXPECT_EQ(rows[0].substr(66), " AB.............. +0x0"); // behind 16 bytes
    EXPECT_EQ(rows[1].substr(0, 18), "0000000000400010: ");
    EXPECT_EQ(rows[1].substr(83), " +0x10");
    EXPECT_EQ(page.view.base.value, 0x400000u);
    EXPECT_EQ(page.view.delta, 0);
}

TEST_F(MemViewWindow, TheAddressStandsInTheFormOfItsKind) {
    EXPECT_EQ(RowsAt("10:400000")[0].substr(0, 23), "0010:0000000000400000: ");
    EXPECT_EQ(RowsAt("#400000")[0].substr(0, 19), "#0000000000400000: ");
}

TEST_F(MemViewWindow, RowsPastTheBytesShowTheirAddressAlone) {
    rig.target.Map(0x500000, 0x1000);
    page.SetSize(1440, 350 + 200 * TestFont().LineHeight());
    const Strings rows = RowsAt("500000");
    ASSERT_EQ(rows.size(), 200u);
    EXPECT_GT(rows[127].size(), 80u);
    EXPECT_EQ(rows[128], "0000000000500800: ");
}

TEST_F(MemViewWindow, ARowThatIsHalfThereIsPadded) {
    page.SetSize(1440, 350 + 200 * TestFont().LineHeight());
    RowsAt("400000");
    page.view.request.gotSize = 20;
    const Strings rows = Draw();
    EXPECT_EQ(rows[1].size(), 18u + 16 * 4 + 1 + 1 + 5 + 0u);
    EXPECT_EQ(rows[1].substr(18 + 4 * 3, 10), std::string(10, ' '));
    EXPECT_EQ(rows[1].substr(rows[1].size() - 5), "+0x10");
    EXPECT_EQ(rows[2], "0000000000400020: ");
}

TEST_F(MemViewWindow, BytesBehindAnAbsentPageStandAtTheirOwnAddresses) {
    rig.target.Poke(0x400000, {0xAA, 0xBB, 0xCC});
    const Strings rows = RowsAt("3FFFF1");
    EXPECT_EQ(page.view.request.skipped, 15u);
    EXPECT_EQ(rows[0], "00000000003FFFF1: ");
    EXPECT_EQ(rows[1].substr(0, 24), "0000000000400001: BB CC ");
}

TEST_F(MemViewWindow, AReadThatFailsLeavesTheAddresses) {
    const Strings rows = RowsAt("900000");
    EXPECT_EQ(rows.front(), "0000000000900000: ");
    EXPECT_EQ(rows.back().size(), 18u);
    EXPECT_EQ(page.view.request.pending, 0u);
}

TEST_F(MemViewWindow, WhileAReadIsOutNothingElseShows) {
    RowsAt("400000");
    rig.target.Hold("ReadTarget");
    Enter("500000");
    rig.target.WaitUntilHeld("ReadTarget");
    page.input.Clear();
    EXPECT_EQ(Draw(), Strings{"Updating data"});
    EXPECT_EQ(page.view.request.pending, 1u);
    EXPECT_TRUE(Press(ktKeyDown)); // the page stays alive
    EXPECT_EQ(page.view.request.pending, 2u);
    rig.target.Free("ReadTarget");
    Wait();
    EXPECT_EQ(page.view.request.pending, 0u);
    EXPECT_EQ(Draw().front().substr(0, 18), "0000000000500010: ");
}

TEST_F(MemViewWindow, APausedViewKeepsItsBytes) {
    rig.target.Poke(0x400000, {0x41});
    RowsAt("400000");
    page.view.request.paused = 1;
    Press(ktKeyDown);
    Wait();
    EXPECT_EQ(page.view.request.pending, 1u);
    EXPECT_EQ(Draw().front().substr(0, 18), "0000000000400010: ");
}

TEST_F(MemViewWindow, AViewThatIsBeingFilledIsNotRead) {
    RowsAt("400000");
    page.view.request.paused = 1; // so that only the lock tells
    ktEvent taken, done;
    ktThread filler;
    struct Shared {
        ktMemViewRequest &request;
        ktEvent &taken, &done;
    } shared{page.view.request, taken, done};
    ASSERT_TRUE(filler.Start(
        [](void *argument) {
            auto &held = *static_cast<Shared *>(argument);
            ktLockGuard guard(held.request.contentLock);
            held.taken.Set();
            held.done.Wait();
        },
        &shared));
    taken.Wait();
    EXPECT_EQ(Draw(), Strings{"Updating data"});
    done.Set();
    filler.Join();
    EXPECT_GT(Draw().size(), 1u);
}

TEST_F(MemViewWindow, ABadAddressKeepsThePlace) {
    RowsAt("400000");
    Press(ktKeyDown);
    Wait();
    EXPECT_FALSE(Enter("1:2:3"));
    EXPECT_EQ(page.view.base.value, 0x400000u);
    EXPECT_EQ(page.view.delta, 16);
    EXPECT_EQ(page.view.request.pending, 0u);
}

TEST_F(MemViewWindow, OnlyEnterWithTheFocusInTheInputShowsAnAddress) {
    page.input.SetText("400000");
    EXPECT_FALSE(page.OnKey(KeyDown(ktKeyEnter))); // nobody has the focus
    page.MoveFocus(&page.view);
    EXPECT_FALSE(page.OnKey(KeyDown(ktKeyEnter)));
    page.MoveFocus(&page.input);
    EXPECT_TRUE(page.OnKey(Character(ktKeyEnter)));
    EXPECT_TRUE(page.OnKey(KeyDown(ktKeyEnd)));
    EXPECT_EQ(page.view.base.kind, ktAddress::kindNone);
    EXPECT_TRUE(page.OnKey(KeyDown(ktKeyEnter)));
    EXPECT_EQ(page.view.base.value, 0x400000u);
}

TEST_F(MemViewWindow, ANewAddressForgetsTheScrolling) {
    RowsAt("400000");
    Press(ktKeyPageDown);
    EXPECT_EQ(page.view.delta, 128);
    Enter("401000");
    EXPECT_EQ(page.view.delta, 0);
    EXPECT_EQ(Asked(), 0x401000u);
}

TEST_F(MemViewWindow, WithoutATargetNothingIsAskedFor) {
    page.SetConnected(false);
    EXPECT_TRUE(Enter("400000"));
    EXPECT_EQ(page.view.base.value, 0x400000u);
    EXPECT_EQ(page.view.request.pending, 0u);
    EXPECT_EQ(page.view.request.address.kind, ktAddress::kindNone);
    page.SetConnected(true);
    page.SetSession(nullptr);
    Press(ktKeyDown);
    EXPECT_EQ(page.view.request.pending, 0u);
}

TEST_F(MemViewWindow, APageIsEightRows) {
    Enter("400000");
    EXPECT_TRUE(Press(ktKeyPageDown));
    EXPECT_EQ(page.view.delta, 8 * 16);
    EXPECT_EQ(Asked(), 0x400080u);
    EXPECT_TRUE(Press(ktKeyPageUp));
    EXPECT_EQ(Asked(), 0x400000u);
}

TEST_F(MemViewWindow, ArrowsAndWheelMoveByOneRow) {
    Enter("400000");
    EXPECT_TRUE(Press(ktKeyDown));
    EXPECT_EQ(Asked(), 0x400010u);
    EXPECT_TRUE(page.view.OnWheel(true));
    EXPECT_EQ(Asked(), 0x400020u);
    EXPECT_TRUE(Press(ktKeyUp));
    EXPECT_EQ(Asked(), 0x400010u);
    EXPECT_TRUE(page.view.OnWheel(false));
    EXPECT_EQ(Asked(), 0x400000u);
}

TEST_F(MemViewWindow, HomeGoesBackButForPartsOfARow) {
    Enter("400000");
    page.view.delta = 16 * 5 + 3;
    EXPECT_TRUE(Press(ktKeyHome));
    EXPECT_EQ(page.view.delta, 3);
    EXPECT_EQ(Asked(), 0x400003u);
    page.view.delta = -(16 * 5 + 3);
    EXPECT_TRUE(Press(ktKeyHome));
    EXPECT_EQ(page.view.delta, -3);
}

TEST_F(MemViewWindow, KeysWithoutMeaningAskForNothing) {
    Enter("400000");
    Wait();
    for (const uint64_t key : {ktKeyEnd, ktKeyLeft, ktKeyRight}) EXPECT_TRUE(Press(key));
    for (const uint64_t key : {ktKeyEnter, ktKeyDelete, ktKeyTab}) EXPECT_FALSE(Press(key));
    EXPECT_FALSE(page.view.OnKey(Character(ktKeyDown)));
    EXPECT_EQ(page.view.delta, 0);
    EXPECT_EQ(page.view.request.pending, 0u);
}

TEST_F(MemViewWindow, ScrollingUpPastAddressZeroWraps) {
    const Strings first = RowsAt("0");
    EXPECT_EQ(first[0], "0000000000000000: ");
    Press(ktKeyUp);
    Wait();
    EXPECT_EQ(Asked(), 0xFFFFFFFFFFFFFFF0u);
    const Strings rows = Draw();
    EXPECT_EQ(rows[0], "FFFFFFFFFFFFFFF0: ");
    EXPECT_EQ(rows[1], "0000000000000000: ");
    page.view.delta = std::numeric_limits<int64_t>::min();
    Press(ktKeyUp);
    EXPECT_EQ(page.view.delta, std::numeric_limits<int64_t>::max() - 15);
}

TEST_F(MemViewWindow, TheOffsetCountsFromTheAddressEntered) {
    RowsAt("400100");
    for (int i = 0; i < 3; ++i) Press(ktKeyUp);
    Wait();
    const Strings rows = Draw();
    EXPECT_EQ(rows[0].substr(83), " -0x30");
    EXPECT_EQ(rows[3].substr(83), " +0x0");
}

TEST_F(MemViewWindow, EveryScrollGoesBackToTheTarget) {
    RowsAt("400000");
    rig.target.Poke(0x400010, {0x5A});
    rig.session.DropPageCache();
    Press(ktKeyDown);
    Wait();
    EXPECT_EQ(Draw()[0].substr(18, 3), "5A ");
}

TEST_F(MemViewWindow, ANewStopRefreshesTheView) {
    RowsAt("400000");
    rig.target.Poke(0x400000, {0x77});
    EXPECT_TRUE(rig.session.Update(0));
    EXPECT_EQ(Draw()[0].substr(18, 3), "77 ");
}

TEST_F(MemViewWindow, IsDrawnWhileItIsScrolledAndFilled) {
    rig.target.Poke(0x400000, {0x41});
    ktDrawLoop frames(page);
    for (int i = 0; i < 30; ++i) {
        Enter("400000");
        Press(ktKeyPageDown);
        page.view.OnWheel(true);
        if (i % 10 == 0) {
            Wait();
            page.SetConnected(i % 20 == 0);
            EXPECT_TRUE(rig.session.Update(0));
            page.SetConnected(true);
            frames.WaitForFrame();
        }
    }
    Enter("400000");
    Wait();
    page.input.Clear();
    frames.WaitForFrame();
    frames.Stop();
    EXPECT_EQ(DrawnStrings(page.draw_list)[0].substr(0, 21), "0000000000400000: 41 ");
}

TEST_F(MemViewWindow, AFrameAllocatesNothing) {
    RowsAt("400000");
    const uint64_t before = AllocationCount();
    page.Draw();
    EXPECT_EQ(AllocationCount(), before);
}

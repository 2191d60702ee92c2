#include "views/debug_window.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "app/gui_link.h"
#include "disasm/xed_disasm.h"
#include "platform/native_message.h"
#include "support/allocation_count.h"
#include "support/drawn_runs.h"
#include "support/drawn_shapes.h"
#include "support/key_events.h"
#include "support/processor_fixture.h"
#include "support/session_rig.h"
#include "support/symbol_builder.h"
#include "support/test_font.h"

namespace {

constexpr uint32_t windowW = 1440;
constexpr uint32_t windowH = 990;
constexpr int32_t registersX = 1080;
constexpr int32_t codeY = 200;

TEST(DebugWindow, ListsItsComponentsFromTheTopOne) {
    const auto window = std::make_unique<ktDebugWindow>();
    const std::vector<ktComponent *> expected = {&window->input,      &window->spare_label,
                                                 &window->registers,  &window->code,
                                                 &window->core_label, &window->location_label};
    EXPECT_EQ(window->components, expected);
    EXPECT_EQ(window->focus, nullptr);
}

using Rect = std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>;

Rect RectOf(const ktComponent &component) {
    return {component.x.Get(), component.y.Get(), component.w.Get(), component.h.Get()};
}

TEST(DebugWindowLayout, FollowsTheWindow) {
    const uint32_t line = TestFont().LineHeight();
    for (const auto &[x, y, w, h] : {Rect{0, 0, 1440, 990}, Rect{0, 0, 1920, 1079}, Rect{7, 11, 803, 351},
                                     Rect{100, 50, 2563, 1440}, Rect{0, 0, 400, 350}}) {
        const auto window = std::make_unique<ktDebugWindow>();
        window->x = x;
        window->y = y;
        window->SetFont(&TestFont());
        window->SetSize(w, h);
        EXPECT_EQ(window->w, w);
        EXPECT_EQ(window->h, h);
        EXPECT_EQ(RectOf(window->registers), (Rect{w / 4 * 3, y, w / 4, h}));
        EXPECT_EQ(RectOf(window->code), (Rect{x, y + 200, w / 4 * 3, h - 350}));
        EXPECT_EQ(RectOf(window->spare_label), (Rect{x, y + h - line, w, line}));
        EXPECT_EQ(RectOf(window->input), (Rect{x, y + h - 20 - line, w, line}));
        EXPECT_EQ(RectOf(window->core_label), (Rect{x, y + 200 - line, w, line}));
        EXPECT_EQ(RectOf(window->location_label), (Rect{x + 208, y + 200 - line, w, line}));
    }
}

TEST(DebugWindowLayout, DividesTheWidthBeforeItMultiplies) {
    const auto window = std::make_unique<ktDebugWindow>();
    window->SetSize(1003, 990);
    EXPECT_EQ(RectOf(window->registers), (Rect{750, 0, 250, 990}));
    EXPECT_EQ(RectOf(window->code), (Rect{0, 200, 750, 640}));
}

TEST(DebugWindowLayout, ALineIs20PixelsWithoutAFont) {
    const auto window = std::make_unique<ktDebugWindow>();
    window->SetSize(1440, 990);
    EXPECT_EQ(RectOf(window->input), (Rect{0, 950, 1440, 20}));
    EXPECT_EQ(RectOf(window->location_label), (Rect{208, 180, 1440, 20}));
}

/// A processor that knows "t", "break" and "g", and a window that has it.
class DebugWindowKeys : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(processor.StartWorker());
        ASSERT_TRUE(processor.RegisterSet(&commands));
        window->SetProcessor(&processor);
    }
    uint32_t Runs() const { return step.runs + breakIn.runs + go.runs; }

    ktScriptedCmd step{"t"};
    ktScriptedCmd breakIn{"break"};
    ktScriptedCmd go{"g"};
    ktScriptedCmdSet commands{&step, &breakIn, &go};
    ktCmdProcessor processor;
    std::unique_ptr<ktDebugWindow> window = std::make_unique<ktDebugWindow>();
};

TEST_F(DebugWindowKeys, TheProcessorIsTheInputsAsWell) {
    EXPECT_EQ(window->processor, &processor);
    EXPECT_EQ(window->input.processor, &processor);
}

TEST_F(DebugWindowKeys, F11StepsF4BreaksAndF5Runs) {
    EXPECT_TRUE(window->OnHotKey(KeyDown(122)));
    EXPECT_EQ(step.runs, 1u);
    EXPECT_TRUE(window->OnHotKey(KeyDown(115)));
    EXPECT_EQ(breakIn.runs, 1u);
    EXPECT_TRUE(window->OnHotKey(KeyDown(116)));
    EXPECT_EQ(go.runs, 1u);
    EXPECT_EQ(HistoryOf(processor), (Texts{"t", "break", "g"}));
}

TEST_F(DebugWindowKeys, F5WithShiftDoesNotRun) {
    EXPECT_FALSE(window->OnHotKey(KeyDown(116, ktModShift)));
    EXPECT_EQ(Runs(), 0u);
}

TEST_F(DebugWindowKeys, HotKeysWithAnyModifierAreLeftAlone) {
    for (const uint64_t key : {115u, 116u, 122u})
        for (uint32_t mods = 1; mods < 8; ++mods)
            EXPECT_FALSE(window->OnHotKey(KeyDown(key, mods))) << key << mods;
    EXPECT_EQ(Runs(), 0u);
}

TEST_F(DebugWindowKeys, CharactersAndOtherKeysAreNoHotKeys) {
    for (const uint64_t key : {115u, 116u, 122u}) EXPECT_FALSE(window->OnHotKey(Character(key)));
    for (const int key : {0, 112, 117, 121, 123, int{'T'}, int{'G'}})
        EXPECT_FALSE(window->OnHotKey(KeyDown(static_cast<uint64_t>(key))));
    EXPECT_EQ(Runs(), 0u);
}

TEST_F(DebugWindowKeys, HotKeysNeedAProcessor) {
    window->SetProcessor(nullptr);
    for (const uint64_t key : {115u, 116u, 122u}) EXPECT_FALSE(window->OnHotKey(KeyDown(key)));
}

TEST_F(DebugWindowKeys, AltAndGraveGiveTheInputTheFocus) {
    EXPECT_TRUE(window->OnKey(KeyDown(ktKeyGrave, ktModAlt)));
    EXPECT_EQ(window->focus, &window->input);
    EXPECT_TRUE(window->input.has_focus);
    TypeText(*window, "r");
    EXPECT_STREQ(window->input.text.Copy().data(), "r");
}

TEST_F(DebugWindowKeys, TheFocusIsTakenFromWhoeverHasIt) {
    ktCommandInput other;
    other.SetFocus(true);
    window->focus = &other;
    EXPECT_TRUE(window->OnKey(KeyDown(ktKeyGrave, ktModAlt)));
    EXPECT_FALSE(other.has_focus);
    EXPECT_TRUE(window->input.has_focus);
}

TEST_F(DebugWindowKeys, GraveNeedsExactlyAlt) {
    for (const uint32_t mods : {0u, 1u, 3u, 4u, 6u, 7u, 10u}) {
        EXPECT_FALSE(window->OnKey(KeyDown(ktKeyGrave, mods))) << mods;
        EXPECT_EQ(window->focus, nullptr);
    }
}

TEST_F(DebugWindowKeys, OtherKeysGoToTheFocus) {
    EXPECT_FALSE(window->OnKey(KeyDown('A')));
    window->MoveFocus(&window->registers);
    EXPECT_FALSE(window->OnKey(Character('a')));
    window->MoveFocus(&window->input);
    EXPECT_TRUE(window->OnKey(Character('a')));
    EXPECT_TRUE(window->OnKey(KeyDown(ktKeyGrave, ktModAlt))); // which passes it over
    EXPECT_STREQ(window->input.text.Copy().data(), "a");
}

/// Hands the session on to a window, as the owner of the windows does.
class WindowLink final : public ktGuiLink {
public:
    explicit WindowLink(ktDebugWindow &newWindow) : window(newWindow) {}
    void SetSession(ktSession *session, ktDisasm *disasm) override { window.SetSession(session, disasm); }
    void PostClose() override {}

private:
    ktDebugWindow &window;
};

/// Holds a lock on a thread of its own while it lives.
class LockHolder {
public:
    explicit LockHolder(ktCriticalSection &lock) {
        thread = std::thread([this, &lock] {
            const ktLockGuard guard(lock);
            held.Set();
            release.Wait();
        });
        held.Wait();
    }
    ~LockHolder() {
        release.Set();
        thread.join();
    }

private:
    ktEvent held;
    ktEvent release;
    std::thread thread;
};

std::unique_ptr<ktDisasm> CreateDisasm() { return std::make_unique<ktXedDisasm>(); }

constexpr ktSessionFactories factories = {CreateDisasm, ktRigCmdSet::Create, ktFakeTarget::CreateEngine};

/// The window at a session whose target is stopped among one-byte instructions, in a space with a module
/// "kernel".
class DebugWindowDraw : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(window->draw_list.Reserve());
        window->SetFont(&TestFont());
        window->SetSize(windowW, windowH);
        lineHeight = static_cast<int32_t>(TestFont().LineHeight());
        rig.session.gui = &link;
        rig.target.Poke(0x400000, std::vector<uint8_t>(0x4000, 0x90));
    }
    void TearDown() override {
        rig.session.Disconnect();
        rig.session.gui = nullptr;
    }

    void Connect() { ASSERT_TRUE(rig.ConnectQuietly()); }
    void AddKernel() {
        ktModule *kernel = builder.AddModule("kernel", 0x400000, 0x4000);
        builder.Publish(*rig.Current(), kernel);
    }
    void StopAt(uint64_t pointer, uint32_t flags = 0) {
        rig.target.SetRegister(ktRegIp, pointer);
        ASSERT_TRUE(rig.session.Update(flags));
    }
    void Draw() { EXPECT_TRUE(window->Draw()); }
    std::string TextAt(int32_t x, int32_t y) { return RunAt(window->draw_list, x, y).text; }
    std::string Core() { return TextAt(0, codeY - lineHeight); }
    std::string Location() { return TextAt(208, codeY - lineHeight); }
    std::string FirstRegister() { return TextAt(registersX + 120, 2 * lineHeight); }
    std::string RegistersMessage() { return TextAt(registersX, 0); }
    /// The code row with the bar; empty when there is no bar.
    std::string CurrentCode() {
        if (window->code.current_first < 0) return {};
        const std::vector<int> bar = PointsAt(window->draw_list.triangles, window->code.current_first, 4);
        return bar[0] == bar[2] ? std::string() : TextAt(0, bar[1]);
    }

    std::unique_ptr<ktDebugWindow> window = std::make_unique<ktDebugWindow>();
    WindowLink link{*window};
    ktSessionRig rig{factories};
    ktSymbolBuilder builder;
    int32_t lineHeight = 0;
};

TEST_F(DebugWindowDraw, WithoutASessionNothingIsKnown) {
    Draw();
    EXPECT_EQ(RegistersMessage(), "No bound context");
    EXPECT_EQ(TextAt(0, codeY), "No code available");
    EXPECT_EQ(Core(), "No cores present");
    EXPECT_EQ(Location(), "");
}

TEST_F(DebugWindowDraw, ASessionWithoutAConnectionShowsTheSame) {
    window->SetSession(&rig.session, nullptr);
    Draw();
    EXPECT_EQ(RegistersMessage(), "No bound context");
    EXPECT_EQ(Core(), "No cores present");
}

TEST_F(DebugWindowDraw, ShowsTheStoppedTarget) {
    Connect();
    AddKernel();
    Draw();
    EXPECT_EQ(FirstRegister(), "0000000000401100");
    EXPECT_EQ(CurrentCode(), "0010:0000000000401100: nop");
    EXPECT_EQ(Core(), "Stopped on core 0");
    EXPECT_EQ(Location(), "kernel+0x1100");
}

TEST_F(DebugWindowDraw, FollowsSteps) {
    Connect();
    AddKernel();
    for (const uint64_t pointer : {0x401101u, 0x401102u, 0x403000u}) {
        StopAt(pointer);
        Draw();
        char digits[32];
        std::snprintf(digits, sizeof(digits), "%016llX", static_cast<unsigned long long>(pointer));
        EXPECT_EQ(FirstRegister(), digits);
        EXPECT_EQ(CurrentCode(), "0010:" + std::string(digits) + ": nop");
        EXPECT_NE(Location(), "");
    }
}

TEST_F(DebugWindowDraw, FramesTakeTheOldPictureWhileAWriterHoldsTheLockAndTheNextOneTheNew) {
    Connect();
    AddKernel();
    Draw();
    StopAt(0x401101);
    {
        const LockHolder writer(rig.session.publishedSnapshot.load()->lock);
        Draw();
        EXPECT_EQ(FirstRegister(), "0000000000401100");
        EXPECT_EQ(CurrentCode(), "0010:0000000000401100: nop");
        EXPECT_EQ(Location(), "kernel+0x1100");
    }
    Draw();
    EXPECT_EQ(FirstRegister(), "0000000000401101");
    EXPECT_EQ(CurrentCode(), "0010:0000000000401101: nop");
    EXPECT_EQ(Location(), "kernel+0x1101");
}

TEST_F(DebugWindowDraw, AnOldPictureIsWholeWhateverIsWrittenToItsRecord) {
    Connect();
    Draw();
    ktSnapshot *const drawn = rig.session.publishedSnapshot;
    StopAt(0x401101);
    StopAt(0x401102);
    drawn->Reset();
    drawn->context.values[ktRegIp] = 1;
    const LockHolder writer(rig.session.publishedSnapshot.load()->lock);
    Draw();
    EXPECT_EQ(FirstRegister(), "0000000000401100");
    EXPECT_EQ(CurrentCode(), "0010:0000000000401100: nop");
}

TEST_F(DebugWindowDraw, TheRecordThatAFrameReadsIsKnown) {
    Connect();
    Draw();
    ktSnapshot *const published = rig.session.publishedSnapshot;
    std::atomic<bool> stop = false;
    std::thread renderer([&] {
        while (!stop) window->Draw();
    });
    ktSnapshot *held = nullptr;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!held && std::chrono::steady_clock::now() < end) held = rig.session.heldSnapshot;
    stop = true;
    renderer.join();
    EXPECT_EQ(held, published);
    EXPECT_EQ(rig.session.heldSnapshot.load(), nullptr);
}

TEST_F(DebugWindowDraw, NothingIsHeldBetweenFrames) {
    Connect();
    Draw();
    EXPECT_EQ(rig.session.heldSnapshot.load(), nullptr);
    ktSnapshot *const published = rig.session.publishedSnapshot;
    std::thread([&] {
        for (ktCriticalSection *lock : {&published->lock, &rig.session.viewLock, &rig.session.disasmLock}) {
            EXPECT_TRUE(lock->TryEnter());
            lock->Leave();
        }
    }).join();
}

TEST_F(DebugWindowDraw, ARunningTargetsOldCodeLinesStay) {
    Connect();
    Draw();
    const std::string row = TextAt(0, codeY);
    ASSERT_NE(row, "");
    ASSERT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
    Draw();
    EXPECT_EQ(Core(), "Running on all cores");
    EXPECT_EQ(RegistersMessage(), "Context is undefined");
    EXPECT_EQ(TextAt(0, codeY), row);
    EXPECT_EQ(Location(), "");
}

TEST_F(DebugWindowDraw, ARunningTargetsCoresAreThoseOfTheRecord) {
    rig.target.SetCores(3, 4);
    Connect();
    AddKernel();
    StopAt(0x401101);
    StopAt(0x401102);
    Draw();
    EXPECT_EQ(Core(), "Stopped on core 3");
    ASSERT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
    Draw();
    EXPECT_EQ(Core(), "Running on 4 cores");
    EXPECT_NE(TextAt(0, codeY), "");
    EXPECT_EQ(Location(), "");
    StopAt(0x401102);
    Draw();
    EXPECT_EQ(Core(), "Stopped on core 3");
    EXPECT_EQ(Location(), "kernel+0x1102");
}

TEST_F(DebugWindowDraw, AfterDisconnectNothingIsKnown) {
    Connect();
    AddKernel();
    Draw();
    rig.session.Disconnect();
    EXPECT_EQ(window->session, nullptr);
    EXPECT_EQ(window->code.disasm, nullptr);
    Draw();
    EXPECT_EQ(RegistersMessage(), "No bound context");
    EXPECT_EQ(TextAt(0, codeY), "No code available");
    EXPECT_EQ(Core(), "No cores present");
    EXPECT_EQ(Location(), "");
    EXPECT_EQ(CurrentCode(), "");
    EXPECT_TRUE(window->location_label.found.empty());
}

TEST_F(DebugWindowDraw, APictureOfAnEarlierConnectionIsNotKept) {
    Connect();
    AddKernel();
    Draw();
    rig.session.Disconnect();
    Connect();
    const LockHolder writer(rig.session.publishedSnapshot.load()->lock);
    Draw(); // the first frame since then
    EXPECT_EQ(RegistersMessage(), "No bound context");
    EXPECT_EQ(Location(), "");
}

TEST_F(DebugWindowDraw, NothingOfAnEarlierConnectionShowsWhereNoFrameSawItsEnd) {
    Connect();
    AddKernel();
    Draw();
    EXPECT_EQ(Location(), "kernel+0x1100");
    EXPECT_EQ(CurrentCode(), "0010:0000000000401100: nop");
    rig.session.Disconnect();
    Connect(); // at the same place again, without the module
    rig.target.Poke(0x400000, std::vector<uint8_t>(0x4000, 0xCC));
    ASSERT_TRUE(rig.session.Update(ktUpdateDropCache)); // the records keep the code that they have seen
    Draw();
    EXPECT_EQ(Location(), "");
    EXPECT_EQ(CurrentCode(), "0010:0000000000401100: int3 ");
}

TEST_F(DebugWindowDraw, ARunningTargetsOldCodeLinesAreThoseOfTheLastStop) {
    Connect();
    StopAt(0x401100);
    Draw();
    StopAt(0x403000);
    Draw();
    const std::string row = TextAt(0, codeY);
    ASSERT_NE(row, "");
    // The record that tells of the run was filled by the stop before.
    ASSERT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
    Draw();
    EXPECT_EQ(TextAt(0, codeY), row);
    EXPECT_EQ(CurrentCode(), ""); // the target is at none of them
}

TEST_F(DebugWindowDraw, ARunningTargetHasNoBarOnAPageThatShowsItForTheFirstTime) {
    Connect();
    for (const uint64_t pointer : {0x401101u, 0x401102u, 0x401103u}) StopAt(pointer);
    ASSERT_TRUE(rig.session.Update(ktUpdateAssumeRunning));
    for (int frame = 0; frame < 2; ++frame) {
        Draw();
        EXPECT_NE(TextAt(0, codeY), "");
        EXPECT_EQ(CurrentCode(), "");
    }
}

TEST_F(DebugWindowDraw, ASessionWithoutATargetShowsNothingOfTheOneBefore) {
    Connect();
    for (const uint64_t pointer : {0x401101u, 0x401102u, 0x401103u}) StopAt(pointer);
    rig.session.Disconnect();
    ASSERT_TRUE(rig.session.Connect(ktEngineStatic, 6, ""));
    ASSERT_TRUE(rig.session.Update(0));
    Draw();
    EXPECT_EQ(Core(), "No cores present");
    EXPECT_EQ(TextAt(0, codeY), "No code available");
    EXPECT_EQ(RegistersMessage(), "No bound context");
    EXPECT_EQ(CurrentCode(), "");
}

TEST_F(DebugWindowDraw, WhatTheSessionOwnsIsLeftAloneWhileSomebodyTakesItAway) {
    Connect();
    AddKernel();
    Draw();
    StopAt(0x403000);
    {
        const LockHolder taker(rig.session.viewLock);
        Draw();
        EXPECT_EQ(FirstRegister(), "0000000000403000");
        EXPECT_EQ(CurrentCode(), "");
        EXPECT_EQ(Location(), "kernel+0x1100");
    }
    Draw();
    EXPECT_EQ(CurrentCode(), "0010:0000000000403000: nop");
    EXPECT_EQ(Location(), "kernel+0x3000");
}

TEST_F(DebugWindowDraw, SetSessionWaitsForTheFrame) {
    Connect();
    std::atomic<bool> done = false;
    rig.session.viewLock.Enter(); // as a frame does
    std::thread taker([&] {
        window->SetSession(nullptr, nullptr);
        done = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(done);
    EXPECT_EQ(window->session, &rig.session);
    rig.session.viewLock.Leave();
    taker.join();
    EXPECT_EQ(window->session, nullptr);
}

TEST_F(DebugWindowDraw, TakingAwayWhatWasNeverThereIsHarmless) {
    window->SetSession(nullptr, nullptr);
    EXPECT_EQ(window->session, nullptr);
    Draw();
}

TEST_F(DebugWindowDraw, AHiddenWindowDrawsNothing) {
    Connect();
    window->visible = false;
    EXPECT_FALSE(window->Draw());
    EXPECT_EQ(window->draw_list.text.vertex_count, 0u);
}

TEST_F(DebugWindowDraw, TheSpareLabelIsBlank) {
    Draw();
    EXPECT_EQ(TextAt(0, static_cast<int32_t>(windowH) - lineHeight), std::string(254, ' '));
}

TEST_F(DebugWindowDraw, EverySizeIsDrawn) {
    Connect();
    AddKernel();
    for (const uint32_t h : {100u, 199u, 349u, 350u, 351u, 600u, 4000u}) {
        for (const uint32_t w : {100u, 101u, 1440u, 5120u}) {
            window->SetSize(w, h);
            Draw();
            EXPECT_EQ(Core(), "Stopped on core 0");
            EXPECT_EQ(window->code.h, h > 350 ? h - 350 : 0);
            const std::vector<int> back = PointsAt(window->draw_list.triangles, window->code.back_first, 4);
            EXPECT_EQ(back[1], codeY) << h;
            EXPECT_EQ(back[5] - back[1], h > 350 ? static_cast<int>(h) - 350 : 0) << h;
            EXPECT_EQ(CurrentCode().empty(), h < 350 + static_cast<uint32_t>(lineHeight)) << h;
        }
    }
}

TEST_F(DebugWindowDraw, InALowWindowTheCommandLineIsNotCoveredByTheCode) {
    window->SetSize(windowW, 300);
    const auto y = static_cast<int32_t>(window->input.y) + 1;
    window->OnLeftDown(100, y);
    EXPECT_EQ(window->focus, &window->input);
}

TEST_F(DebugWindowDraw, FramesAndStepsAllocateNothing) {
    Connect();
    Draw();
    StopAt(0x401101);
    const uint64_t before = AllocationCount();
    window->Draw(); // no module is loaded, so the look-up has nothing to keep
    window->Draw();
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_EQ(CurrentCode(), "0010:0000000000401101: nop");
}

TEST_F(DebugWindowDraw, FramesGoOnWhileTheSessionWorks) {
    rig.target.StopRecording();
    std::atomic<bool> stop = false;
    std::atomic<uint64_t> frames = 0;
    std::thread renderer([&] {
        while (!stop) {
            window->Draw();
            ++frames;
        }
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    uint64_t round = 0;
    while (std::chrono::steady_clock::now() < end) {
        EXPECT_TRUE(rig.Connect());
        AddKernel();
        for (uint64_t step = 0; step < 30; ++step) {
            rig.target.SetRegister(ktRegIp, 0x401000 + (round * 31 + step * 7) % 0x2000);
            EXPECT_TRUE(rig.session.Update(step % 5 == 4 ? uint32_t{ktUpdateAssumeRunning} : 0));
            window->registers.OnRightDown(registersX + 1, static_cast<int32_t>(step * 10));
            window->SetSize(windowW - static_cast<uint32_t>(step), windowH);
        }
        {
            const ktLockGuard guard(rig.session.viewLock);
            rig.Current()->RemoveModule(rig.Current()->FindModule("kernel"));
        }
        rig.session.Disconnect();
        ++round;
    }
    // However busy the machine is, there are frames in the end.
    const uint64_t seen = frames;
    while (frames < seen + 2) std::this_thread::yield();
    stop = true;
    renderer.join();
    EXPECT_GT(round, 0u);
    Draw();
    EXPECT_EQ(Core(), "No cores present");
}

} // namespace

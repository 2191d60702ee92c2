#include "views/disasm_view.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "disasm/xed_disasm.h"
#include "platform/sync.h"
#include "support/allocation_count.h"
#include "support/drawn_runs.h"
#include "support/drawn_shapes.h"
#include "support/fake_disasm.h"
#include "support/test_font.h"

namespace {

constexpr uint64_t blockValue = 0x401000;
constexpr int32_t viewX = 10;
constexpr int32_t viewY = 200;

/// A view of `rows` rows on a block of instructions of one byte each, "op0" to "op1023"; byte 0xFF is none.
class DisasmView : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(list.Reserve());
        list.font = &TestFont();
        view.SetFont(&TestFont());
        lineHeight = static_cast<int32_t>(TestFont().LineHeight());
        SetRows(30);
        disasm.decode = [](const ktFakeDisasm::Call &call, std::string &text) {
            if (call.code[0] == 0xFF) return uint64_t{0};
            text = "op" + std::to_string(call.address - blockValue);
            return uint64_t{1};
        };
        view.disasm = &disasm;
        view.disasm_lock = &lock;
        view.may_look_up = true;
        state.codeAddress.value = blockValue;
        state.codeAddress.selector = 0x10;
        state.codeAddress.kind = ktAddress::kindVirtual;
        state.context.mode = ktModeLong64;
        view.snapshot = &state;
        SetPointer(256);
    }
    void SetRows(int32_t rows) {
        view.SetRect(viewX, viewY, 1000, static_cast<uint32_t>(rows * lineHeight + lineHeight / 2));
    }
    void SetPointer(uint64_t offset) { state.context.values[ktRegIp] = state.codeAddress.value + offset; }
    void Draw() {
        list.text.Clear();
        EXPECT_TRUE(view.Draw(list));
    }
    int32_t RowY(int32_t row) const { return viewY + row * lineHeight; }
    std::string Row(int32_t row) { return RunAt(list, viewX, RowY(row)).text; }
    size_t RowCount() { return DrawnRuns(list).size(); }
    static std::string Line(uint64_t offset) {
        char text[64];
        std::snprintf(text, sizeof(text), "0010:%016llX: op%llu",
                      static_cast<unsigned long long>(blockValue + offset),
                      static_cast<unsigned long long>(offset));
        return text;
    }
    /// The row with the bar, -1 when none is to be seen.
    int32_t BarRow() {
        if (view.current_first < 0) return -1;
        const std::vector<int> bar = PointsAt(list.triangles, view.current_first, 4);
        const int top = bar[1];
        if (bar[0] == bar[2] && top == bar[5]) return -1;
        EXPECT_EQ(bar, (std::vector<int>{viewX, top, viewX + 1000, top, viewX + 1000, top + lineHeight, viewX,
                                         top + lineHeight}));
        EXPECT_TRUE(AllHave(list.triangles, view.current_first, 4, view.current_color));
        return (top - viewY) / lineHeight;
    }

    ktFakeDisasm disasm;
    ktCriticalSection lock;
    ktDrawList list;
    ktSnapshotState state;
    ktDisasmView view;
    int32_t lineHeight = 0;
};

TEST(DisasmViewFields, AreAsConstructed) {
    const ktDisasmView view;
    EXPECT_EQ(view.GetKind(), 7u);
    EXPECT_EQ(view.snapshot, nullptr);
    EXPECT_EQ(view.text_color, ktColorFrom(0xFFFFFFFF));
    EXPECT_EQ(view.back_color, ktColorFrom(0xFF1E1A1A));
    EXPECT_EQ(view.current_color, ktColorFrom(0xFF505050));
    EXPECT_EQ(view.back_first, -1);
    EXPECT_EQ(view.line_first, -1);
    EXPECT_EQ(view.current_first, -1);
}

TEST_F(DisasmView, SaysThatThereIsNoCode) {
    view.snapshot = nullptr;
    Draw();
    EXPECT_EQ(Row(0), "No code available");
    EXPECT_EQ(RowCount(), 1u);
    EXPECT_TRUE(AllHave(list.triangles, view.back_first, 4, view.back_color));
}

TEST_F(DisasmView, RowsShowSelectorAddressAndText) {
    Draw();
    EXPECT_EQ(RowCount(), 30u);
    EXPECT_EQ(Row(0), Line(246));
    EXPECT_EQ(Row(29), Line(275));
}

TEST_F(DisasmView, TheCurrentLineIsOneThirdDown) {
    Draw();
    EXPECT_EQ(BarRow(), 10);
    EXPECT_EQ(Row(10), Line(256));
    for (const int32_t rows : {1, 2, 3, 4, 5, 31, 70}) {
        SetRows(rows);
        Draw();
        EXPECT_EQ(BarRow(), rows / 3) << rows;
        EXPECT_EQ(RowCount(), static_cast<size_t>(rows));
    }
}

TEST_F(DisasmView, InTheFirstThirdTheBarSitsHigher) {
    SetPointer(4);
    Draw();
    EXPECT_EQ(BarRow(), 4);
    EXPECT_EQ(Row(0), Line(0));
    SetPointer(0);
    Draw();
    EXPECT_EQ(BarRow(), 0);
}

TEST_F(DisasmView, RowsEndWithTheLines) {
    state.codeSize = 260;
    Draw();
    EXPECT_EQ(RowCount(), 14u);
    EXPECT_EQ(Row(13), Line(259));
}

TEST_F(DisasmView, TheBarIsRetained) {
    Draw();
    const int32_t first = view.current_first;
    SetPointer(257);
    Draw();
    SetPointer(2);
    Draw();
    EXPECT_EQ(view.current_first, first);
    EXPECT_EQ(list.triangles.vertex_count, 8u);
    EXPECT_EQ(BarRow(), 2);
}

TEST_F(DisasmView, StepsInsideABlockDecodeNothing) {
    Draw();
    disasm.calls.clear();
    for (const uint64_t offset : {257u, 258u, 100u, 400u}) {
        SetPointer(offset);
        Draw();
        EXPECT_EQ(Row(10), Line(offset));
    }
    EXPECT_TRUE(disasm.calls.empty());
}

TEST_F(DisasmView, BytesThatChangeInTheBlockOnShowAreDecodedWithTheNextBlock) {
    Draw();
    state.code[256] = 0xFF;
    SetPointer(257);
    Draw();
    EXPECT_EQ(Row(9), Line(256)); // a block is known by its address
    state.codeAddress.value += 0x400;
    SetPointer(257);
    Draw();
    EXPECT_EQ(Row(9), Line(0x400 + 255));
}

TEST_F(DisasmView, AnotherBlockIsDecodedAnew) {
    Draw();
    state.codeAddress.value += 0x400;
    SetPointer(256);
    Draw();
    EXPECT_EQ(Row(10), Line(0x400 + 256));
    EXPECT_EQ(BarRow(), 10);
}

TEST_F(DisasmView, ABlockInWhichNoAlignmentReachesThePointerLeavesTheOldLinesAndNoBar) {
    Draw();
    ASSERT_EQ(BarRow(), 10);
    const ktSnapshotState old = state;
    state.codeAddress.value += 0x10000;
    state.code[256] = 0xFF;
    SetPointer(256);
    Draw();
    EXPECT_EQ(BarRow(), -1);
    EXPECT_EQ(RowCount(), 30u);
    EXPECT_EQ(Row(10), Line(256));
    EXPECT_EQ(view.decoded.base.value, blockValue);
    // It is not tried in every frame, and the old block is still there when the target comes back to it.
    disasm.calls.clear();
    Draw();
    state = old;
    Draw();
    EXPECT_EQ(BarRow(), 10);
    EXPECT_TRUE(disasm.calls.empty());
}

TEST_F(DisasmView, AFirstBlockThatCannotBeAlignedShowsNothing) {
    state.code[256] = 0xFF;
    Draw();
    EXPECT_EQ(RowCount(), 0u);
    EXPECT_EQ(list.triangles.vertex_count, 4u);
}

TEST_F(DisasmView, ASnapshotWithoutCodeLeavesTheOldLinesAndNoBar) {
    Draw();
    state = ktSnapshotState(); // as the first of a running target is
    state.stop.running = true;
    Draw();
    EXPECT_EQ(BarRow(), -1);
    EXPECT_EQ(Row(10), Line(256));
}

TEST_F(DisasmView, APointerInsideAnInstructionOfTheBlockShowsNothingMore) {
    disasm.decode = [](const ktFakeDisasm::Call &, std::string &) { return uint64_t{2}; };
    Draw();
    ASSERT_EQ(BarRow(), 10);
    SetPointer(257);
    Draw();
    EXPECT_EQ(RowCount(), 0u);
    EXPECT_EQ(BarRow(), -1);
    SetPointer(258);
    Draw();
    EXPECT_EQ(BarRow(), 10);
}

TEST_F(DisasmView, TheBarGoesWithTheSnapshot) {
    Draw();
    view.snapshot = nullptr;
    Draw();
    EXPECT_EQ(BarRow(), -1);
    EXPECT_EQ(Row(0), "No code available");
}

TEST_F(DisasmView, WhileACommandHasTheDisassemblerTheOldLinesStay) {
    Draw();
    state.codeAddress.value += 0x400;
    SetPointer(256);
    ktEvent held;
    ktEvent release;
    std::thread command([&] {
        const ktLockGuard guard(lock);
        held.Set();
        release.Wait();
    });
    held.Wait();
    disasm.calls.clear();
    Draw();
    EXPECT_EQ(Row(10), Line(256));
    EXPECT_EQ(BarRow(), -1);
    EXPECT_TRUE(disasm.calls.empty());
    release.Set();
    command.join();
    Draw();
    EXPECT_EQ(Row(10), Line(0x400 + 256));
    EXPECT_EQ(BarRow(), 10);
    EXPECT_TRUE(lock.TryEnter()); // and given back
    lock.Leave();
}

TEST_F(DisasmView, AFrameThatMustNotLookUpKeepsTheOldLines) {
    Draw();
    state.codeAddress.value += 0x400;
    SetPointer(256);
    view.may_look_up = false;
    Draw();
    EXPECT_EQ(Row(10), Line(256));
    view.may_look_up = true;
    Draw();
    EXPECT_EQ(Row(10), Line(0x400 + 256));
}

TEST_F(DisasmView, WithoutADisassemblerNothingIsDecoded) {
    view.disasm = nullptr;
    Draw();
    EXPECT_EQ(RowCount(), 0u);
    view.disasm = &disasm;
    view.disasm_lock = nullptr;
    Draw();
    EXPECT_EQ(RowCount(), 0u);
}

TEST_F(DisasmView, WithoutAFontThereAreNoRows) {
    view.SetFont(nullptr);
    Draw();
    EXPECT_EQ(RowCount(), 0u);
    EXPECT_EQ(list.triangles.vertex_count, 4u);
}

TEST_F(DisasmView, AViewLowerThanALineHasNoRows) {
    Draw();
    view.h = static_cast<uint32_t>(lineHeight - 1);
    Draw();
    EXPECT_EQ(RowCount(), 0u);
    EXPECT_EQ(BarRow(), -1);
}

TEST_F(DisasmView, AHeightBelow0IsHarmless) {
    view.h = static_cast<uint32_t>(-250); // of a window that is too low for it
    Draw();
    EXPECT_FALSE(list.clip_on);
    EXPECT_EQ(RowCount(), 0u); // all of it is clipped away
}

TEST_F(DisasmView, RowsAreClippedToTheView) {
    view.w = 9 * 20 + 4;
    Draw();
    EXPECT_FALSE(list.clip_on);
    EXPECT_EQ(list.clip_x, viewX);
    EXPECT_EQ(list.clip_y, viewY);
    EXPECT_EQ(list.clip_w, 9 * 20 + 4);
    EXPECT_EQ(list.clip_h, static_cast<int32_t>(view.h) + 3);
    for (uint32_t vertex = 0; vertex < list.text.vertex_count; ++vertex)
        EXPECT_LE(list.text.TexturedAt(static_cast<int32_t>(vertex))->x, viewX + 9 * 20 + 4);
}

TEST_F(DisasmView, RegistersBranchesAndHexNumbersAreColoured) {
    ktXedDisasm xed;
    view.disasm = &xed;
    const uint8_t code[] = {0x48, 0x89, 0xE5, 0x75, 0x10, 0xB8, 0x78, 0x56, 0x34, 0x12};
    std::copy(std::begin(code), std::end(code), state.code);
    state.codeSize = sizeof(code);
    SetPointer(0);
    Draw();
    const ktDrawnRun mov = RunAt(list, viewX, RowY(0));
    EXPECT_EQ(mov.text, "0010:0000000000401000: mov rbp, rsp");
    for (size_t i = 0; i < mov.text.size(); ++i) {
        const bool isRegister = (i >= 27 && i < 30) || i >= 32;
        EXPECT_EQ(mov.colors[i], isRegister ? ktColorRegister : view.text_color) << i;
    }
    const ktDrawnRun branch = RunAt(list, viewX, RowY(1));
    EXPECT_EQ(branch.text, "0010:0000000000401003: jnz 0x401015");
    EXPECT_EQ(branch.colors[23], ktColorBranch);
    EXPECT_EQ(branch.colors[27], ktColorHexNumber);
    const ktDrawnRun load = RunAt(list, viewX, RowY(2));
    EXPECT_EQ(load.text, "0010:0000000000401005: mov eax, 0x12345678");
    EXPECT_EQ(load.colors[0], view.text_color);
    EXPECT_EQ(load.colors[27], ktColorRegister);
    EXPECT_EQ(load.colors.back(), ktColorHexNumber);
}

TEST_F(DisasmView, AFullTextBatchEndsTheRowsWithoutHarm) {
    ktDrawList small;
    ASSERT_TRUE(small.Reserve(400));
    small.font = &TestFont();
    EXPECT_TRUE(view.Draw(small));
    EXPECT_GT(small.text.vertex_count, 200u);
    EXPECT_EQ(view.line_first, -1);
}

TEST_F(DisasmView, FramesAndStepsAllocateNothing) {
    ktXedDisasm xed;
    view.disasm = &xed;
    std::fill(std::begin(state.code), std::end(state.code), uint8_t{0x90});
    Draw();
    const uint64_t before = AllocationCount();
    for (uint64_t offset = 256; offset < 300; ++offset) {
        SetPointer(offset);
        list.text.Clear();
        view.Draw(list);
    }
    EXPECT_EQ(AllocationCount(), before);
    EXPECT_EQ(BarRow(), 10);
}

} // namespace

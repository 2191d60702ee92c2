// Processor time to build one frame of a page, without the graphics driver.
//
// Wanted: the debug page at 1440 x 990 (70 rows of code, 60 registers) below 0.5 ms, a full text view at 2560
// x 1440 (160 rows of 280 characters) below 1 ms.

#include "app/log_lines.h"
#include "disasm/xed_disasm.h"
#include "gui/font.h"
#include "platform/font_file.h"
#include "platform/host.h"
#include "session/session.h"
#include "views/debug_window.h"
#include "views/log_window.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

namespace {

/// The debugger's font at `pixels`; null where no face is installed.
const ktFont *LoadFont(uint32_t pixels, ktFont &font) {
    for (const std::string &file : MonospacedFontFiles()) {
        font.path = file;
        font.pixel_width = font.pixel_height = pixels;
        if (font.Load()) return &font;
    }
    return nullptr;
}

/// Fills `code` with functions of a usual mix: branches, numbers, registers, memory operands.
void FillWithInstructions(uint8_t *code, size_t size) {
    static constexpr uint8_t block[] = {
        0x55,                                  // push rbp
        0x48, 0x89, 0xE5,                      // mov rbp, rsp
        0x48, 0x83, 0xEC, 0x18,                // sub rsp, 0x18
        0x48, 0x89, 0x7D, 0xE8,                // mov qword ptr [rbp-0x18], rdi
        0x48, 0xC7, 0x45, 0xF8, 0x00, 0, 0, 0, // mov qword ptr [rbp-0x8], 0x0
        0x48, 0x8B, 0x45, 0xE8,                // mov rax, qword ptr [rbp-0x18]
        0x74, 0x10,                            // jz
        0xE8, 0x10, 0x00, 0x00, 0x00,          // call
        0xC9, 0xC3,                            // leave, ret
    };
    for (size_t at = 0; at < size; ++at) code[at] = block[at % sizeof block];
}

void DebugPage(benchmark::State &state) {
    ktFont font;
    if (!LoadFont(16, font)) return state.SkipWithError("no monospaced face is installed");
    ktXedDisasm disasm;
    ktSession session(SystemHost(), {});
    ktSnapshot snapshot;
    FillWithInstructions(snapshot.code, sizeof snapshot.code);
    snapshot.codeAddress.kind = ktAddress::kindVirtual;
    snapshot.codeAddress.value = 0xFFFFFFFF80110000;
    snapshot.context.mode = ktModeLong64;
    snapshot.context.complete = true;
    snapshot.context.validMask = (uint64_t(1) << 60) - 1;
    snapshot.context.values[ktRegIp] = snapshot.codeAddress.value + uint64_t(8) * 30;
    session.publishedSnapshot = &snapshot;
    ktDebugWindow window;
    window.draw_list.Reserve();
    window.SetFont(&font);
    window.SetSize(1440, static_cast<uint32_t>(state.range(0)));
    window.SetSession(&session, &disasm);
    for (auto _ : state) benchmark::DoNotOptimize(window.Draw());
    state.counters["glyphs"] = double(window.draw_list.text.vertex_count) / 4;
    state.counters["rows"] = double(uint64_t(window.code.h) / font.LineHeight());
    window.SetSession(nullptr, nullptr);
    session.publishedSnapshot = nullptr;
}
// 990 is the window's own height; 1750 makes the code 70 rows high.
BENCHMARK(DebugPage)->Arg(990)->Arg(1750)->Unit(benchmark::kMicrosecond);

void FullTextView(benchmark::State &state) {
    // A small size, so that 160 rows of 280 characters fit.
    ktFont font;
    if (!LoadFont(9, font)) return state.SkipWithError("no monospaced face is installed");
    ktLogLines lines;
    lines.Reserve();
    for (int row = 0; row < 400; ++row) {
        std::string text = std::to_string(row);
        while (text.size() < 280) text += " mov rax, qword ptr [rbp-0x18]";
        text.resize(280);
        lines.AddLine(text.c_str());
    }
    ktLogWindow window;
    window.draw_list.Reserve();
    window.SetFont(&font);
    window.SetLines(&lines, "Log window");
    window.SetSize(2560, 160 * font.LineHeight() + 200);
    for (auto _ : state) benchmark::DoNotOptimize(window.Draw());
    state.counters["glyphs"] = double(window.draw_list.text.vertex_count) / 4;
    state.counters["rows"] = double(uint64_t(window.view.h) / font.LineHeight());
}
BENCHMARK(FullTextView)->Unit(benchmark::kMicrosecond);

} // namespace

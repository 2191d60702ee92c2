#include "views/disasm_view.h"

#include <algorithm>
#include <cstring>

#include "app/hex_digits.h"
#include "gui/draw_list.h"
#include "gui/font.h"
#include "platform/sync.h"

namespace {

constexpr uint32_t clipSlack = 3; ///< the glyphs of the last row hang below the line

} // namespace

bool ktDisasmView::Draw(ktDrawList &list) {
    list.PutRect(back_first, x, y, w, h, back_color);
    HideBar(list);
    if (!snapshot) {
        list.AddText(static_cast<uint16_t>(x), static_cast<uint16_t>(y), "No code available", 0, text_color);
        return true;
    }
    const Lines shown = Refresh();
    const uint32_t lineHeight = font ? font->LineHeight() : 0;
    if (shown != Lines::none && lineHeight != 0) DrawRows(list, lineHeight, shown == Lines::withCurrent);
    return true;
}

ktDisasmView::Lines ktDisasmView::Refresh() {
    // While the target runs the record is that of some earlier stop: the lines of the last one stay, and the
    // target is at none of them.
    if (snapshot->stop.running && decoded.line_count != 0) return Lines::withoutCurrent;
    if (decoded.Shows(snapshot->codeAddress)) {
        const bool found = decoded.FindPointer(snapshot->context.values[ktRegIp]);
        return found ? Lines::withCurrent : Lines::none;
    }
    // What cannot be decoded, or not in this frame, leaves the lines that there are; the pointer is not among
    // them.
    if (decoded.IsHopeless(*snapshot) || !Decode() || snapshot->stop.running) return Lines::withoutCurrent;
    return Lines::withCurrent;
}

/// False also when the disassembler cannot be had in this frame: commands hold it for long.
bool ktDisasmView::Decode() {
    ktDisasm *const used = disasm;
    ktCriticalSection *const lock = disasm_lock;
    if (!may_look_up || !used || !lock || !lock->TryEnter()) return false;
    const bool done = decoded.Decode(*snapshot, *used);
    lock->Leave();
    return done;
}

void ktDisasmView::DrawRows(ktDrawList &list, uint32_t lineHeight, bool hasCurrent) {
    const uint32_t rows = h / lineHeight;
    const uint32_t first = decoded.current_line - std::min(decoded.current_line, rows / 3);
    const uint32_t count = std::min(rows, decoded.line_count - first);
    list.clip_x = static_cast<int16_t>(x);
    list.clip_y = static_cast<int16_t>(y);
    list.clip_w = static_cast<int16_t>(w);
    list.clip_h = static_cast<int16_t>(h + clipSlack);
    list.clip_on = true;
    for (uint32_t row = 0; row < count; ++row) {
        const uint32_t line = first + row;
        const uint32_t rowY = y + row * lineHeight;
        if (hasCurrent && line == decoded.current_line)
            list.PutRect(current_first, x, rowY, w, lineHeight, current_color);
        DrawRow(list, line, rowY);
    }
    list.clip_on = false;
}

void ktDisasmView::DrawRow(ktDrawList &list, uint32_t line, uint32_t rowY) {
    char *end = ktPutHex(scratch.data(), decoded.base.selector, 4);
    *end++ = ':';
    end = ktPutHex(end, decoded.AddressOf(line), 16);
    *end++ = ':';
    *end++ = ' ';
    const size_t length = std::strlen(decoded.TextOf(line));
    end = std::copy_n(decoded.TextOf(line), length, end);
    *end = 0;
    line_first =
        list.AddText(static_cast<uint16_t>(x), static_cast<uint16_t>(rowY), scratch.data(), 0, text_color);
    if (line_first < 0) return;
    names.Recolour(list, line_first, {scratch.data(), static_cast<size_t>(end - scratch.data())});
}

/// The bar of the last frame is still in the batch; a row that is drawn puts it back.
void ktDisasmView::HideBar(ktDrawList &list) {
    if (current_first >= 0) list.PutRect(current_first, x, y, 0, 0, current_color);
}

#include "views/context_view.h"

#include "app/hex_digits.h"
#include "gui/clipboard.h"
#include "gui/draw_list.h"
#include "gui/font.h"
#include "session/context.h"
#include "session/register_names.h"

namespace {

constexpr uint32_t valueColumn = 120; ///< pixels from the left
constexpr uint32_t valueDigits = 16;

} // namespace

bool ktContextView::Draw(ktDrawList &list) {
    line_height = font ? font->LineHeight() : 0;
    list.PutRect(back_first, x, y, w, h, back_color);
    if (!context) {
        DrawText(list, x, y, "No bound context");
    } else if (!context->complete) {
        DrawText(list, x, y, "Context is undefined");
    } else {
        DrawRegisters(list);
    }
    return true;
}

void ktContextView::DrawRegisters(ktDrawList &list) {
    uint32_t rowY = y + first_row * line_height;
    for (uint32_t index = 0; index < registerCount; ++index) {
        if ((context->validMask >> index & 1) == 0) continue;
        const bool isSelected = selected_row == static_cast<int32_t>(first_row + index);
        text_color = isSelected ? selected_color : normal_color;
        char value[valueDigits + 1];
        *ktPutHex(value, context->values[index], valueDigits) = 0;
        values[index].Set(value);
        DrawText(list, x, rowY, ktRegisterLabel(index));
        DrawText(list, x + valueColumn, rowY, value);
        rowY += line_height;
    }
}

void ktContextView::DrawText(ktDrawList &list, uint32_t textX, uint32_t textY, const char *text) {
    list.AddText(static_cast<uint16_t>(textX), static_cast<uint16_t>(textY), text, 0, text_color);
}

int64_t ktContextView::RowAt(int32_t py) const {
    const uint32_t height = line_height;
    if (height == 0) return registerCount;
    return (int64_t{py} - int64_t{y}) / height;
}

bool ktContextView::OnRightDown(int32_t, int32_t py) {
    const int64_t row = RowAt(py);
    if (row < registerCount) selected_row = static_cast<int32_t>(row);
    return true;
}

bool ktContextView::OnRightUp(int32_t, int32_t py) {
    const int64_t row = RowAt(py);
    if (row == selected_row && row >= first_row)
        CopyToClipboard(values[static_cast<size_t>(row - first_row)].Copy().data());
    selected_row = -1;
    return true;
}

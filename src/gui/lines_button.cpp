#include "gui/lines_button.h"

#include <cstdlib>

#include "app/lines.h"
#include "gui/clipboard.h"
#include "gui/draw_list.h"

namespace {

/// The retained pattern for an outline box.
void PutOutlineBox(ktDrawList &list, int32_t &first, uint32_t x, uint32_t y, ktColor color) {
    const uint16_t left = static_cast<uint16_t>(x);
    const uint16_t top = static_cast<uint16_t>(y);
    if (first == -1)
        first = list.AddOutlineBox(left, top, color);
    else
        list.MoveOutlineBox(first, left, top, color);
}

} // namespace

bool ktClearButton::Draw(ktDrawList &list) {
    list.PutRect(back_first, x, y, w, h, back.current);
    list.PutCross(cross_first, x + w / 2, y + h / 2, 10, icon.current);
    return true;
}

void ktClearButton::OnClick() {
    if (!target) return;
    target->LockExclusive();
    target->Clear();
    target->UnlockExclusive();
}

bool ktCopyButton::Draw(ktDrawList &list) {
    list.PutRect(back_first, x, y, w, h, back.current);
    PutOutlineBox(list, rear_first, x + 5, y + 4, icon.current);
    PutOutlineBox(list, front_first, x + 8, y + 6, icon.current);
    return true;
}

void ktCopyButton::OnClick() {
    if (!target) return;
    target->LockShared();
    char *text = target->GetText();
    target->UnlockShared();
    CopyToClipboard(text);
    std::free(text);
}

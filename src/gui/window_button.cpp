#include "gui/window_button.h"

#include "gui/draw_list.h"
#include "gui/native_window.h"

namespace {

constexpr uint32_t sideInset = 12; // of the icons, from the left and right edge
constexpr uint32_t boxInset = 8;
constexpr uint32_t maximizedBoxInset = 12;

} // namespace

bool ktCloseButton::Draw(ktDrawList &list) {
    list.PutRect(back_first, x, y, w, h, back.current);
    list.PutCross(cross_first, x + w / 2, y + h / 2, 15, icon.current);
    return true;
}

void ktCloseButton::OnClick() {
    if (target) target->PostClose();
}

bool ktMaximizeButton::Draw(ktDrawList &list) {
    list.PutRect(back_first, x, y, w, h, back.current);
    const uint32_t inset = target && target->maximized ? maximizedBoxInset : boxInset;
    const uint32_t left = x + sideInset;
    const uint32_t right = x + w - sideInset;
    const uint32_t top = y + inset;
    const uint32_t bottom = y + h - inset;
    const ktColor color = icon.current;
    list.PutLine(side_first[0], left, top, right, top, color);
    list.PutLine(side_first[1], right, top, right, bottom, color);
    list.PutLine(side_first[2], right, bottom, left, bottom, color);
    list.PutLine(side_first[3], left, bottom, left, top, color);
    return true;
}

void ktMaximizeButton::OnClick() {
    if (target) target->ToggleMaximized();
}

bool ktMinimizeButton::Draw(ktDrawList &list) {
    list.PutRect(back_first, x, y, w, h, back.current);
    const uint32_t middle = y + h / 2;
    list.PutLine(line_first, x + sideInset, middle, x + w - sideInset, middle, icon.current);
    return true;
}

void ktMinimizeButton::OnClick() {
    if (target) target->Minimize();
}

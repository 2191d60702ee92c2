#include "gui/button.h"

bool ktButton::OnLeftDown(int32_t, int32_t) {
    pressed = true;
    return true;
}

bool ktButton::OnLeftUp(int32_t, int32_t) {
    if (!pressed) return false;
    pressed = false;
    OnHoverLeave();
    OnClick();
    return true;
}

bool ktButton::SetPressed(bool isPressed) {
    pressed = isPressed;
    return true;
}

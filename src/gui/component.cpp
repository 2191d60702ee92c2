#include "gui/component.h"

bool ktIsInside(int32_t px, int32_t py, uint32_t x, uint32_t y, uint32_t w, uint32_t h) {
    const int64_t left = static_cast<int32_t>(x);
    const int64_t top = static_cast<int32_t>(y);
    return px > left && px < left + w && py > top && py < top + h;
}

bool ktComponent::HitTest(int32_t px, int32_t py) const { return ktIsInside(px, py, x, y, w, h); }
bool ktComponent::Draw(ktDrawList &) { return false; }
bool ktComponent::OnLeftDown(int32_t, int32_t) { return false; }
bool ktComponent::OnLeftUp(int32_t, int32_t) { return false; }
bool ktComponent::OnRightDown(int32_t, int32_t) { return false; }
bool ktComponent::OnRightUp(int32_t, int32_t) { return false; }
bool ktComponent::OnKey(const ktKeyEvent &) { return false; }
bool ktComponent::SetPressed(bool) { return false; }
bool ktComponent::OnMouseMove(int32_t, int32_t) { return false; }
bool ktComponent::OnWheel(bool) { return false; }
bool ktComponent::OnHoverEnter() { return false; }
bool ktComponent::OnHoverLeave() { return false; }
bool ktComponent::SetFocus(bool) { return false; }
void ktComponent::SetFont(const ktFont *newFont) { font = newFont; }
const ktFont *ktComponent::GetFont() const { return font; }

void ktComponent::SetRect(uint32_t newX, uint32_t newY, uint32_t newW, uint32_t newH) {
    x = newX;
    y = newY;
    w = newW;
    h = newH;
}

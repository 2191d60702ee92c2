#include "gui/window.h"

#include "gui/component.h"
#include "gui/font.h"

namespace {

constexpr uint32_t lineHeightWithoutFont = 20;

} // namespace

bool ktWindow::Draw() {
    if (!visible) return false;
    draw_list.text.Clear();
    for (auto component = components.rbegin(); component != components.rend(); ++component)
        (*component)->Draw(draw_list);
    return true;
}

bool ktWindow::HitTest(int32_t px, int32_t py) const { return ktIsInside(px, py, x, y, w, h); }

ktComponent *ktWindow::ComponentAt(int32_t px, int32_t py) const {
    for (ktComponent *component : components)
        if (component->HitTest(px, py)) return component;
    return nullptr;
}

void ktWindow::MoveFocus(ktComponent *component) {
    if (focus) focus->SetFocus(false);
    focus = component;
    if (focus) focus->SetFocus(true);
}

bool ktWindow::OnLeftDown(int32_t px, int32_t py) {
    ktComponent *hit = ComponentAt(px, py);
    if (!hit) return false;
    MoveFocus(hit);
    return hit->OnLeftDown(px, py);
}

bool ktWindow::OnLeftUp(int32_t px, int32_t py) {
    ktComponent *hit = ComponentAt(px, py);
    return hit && hit->OnLeftUp(px, py);
}

bool ktWindow::OnRightDown(int32_t px, int32_t py) {
    ktComponent *hit = ComponentAt(px, py);
    if (!hit) return false;
    MoveFocus(hit);
    return hit->OnRightDown(px, py);
}

bool ktWindow::OnRightUp(int32_t px, int32_t py) {
    ktComponent *hit = ComponentAt(px, py);
    return hit && hit->OnRightUp(px, py);
}

bool ktWindow::OnMouseMove(int32_t px, int32_t py) {
    for (ktComponent *component : components) {
        if (component->HitTest(px, py)) {
            component->OnMouseMove(px, py);
            component->OnHoverEnter();
        } else {
            component->SetPressed(false);
            component->OnHoverLeave();
        }
    }
    return false;
}

bool ktWindow::OnWheel(bool down) { return focus && focus->OnWheel(down); }

bool ktWindow::OnKey(const ktKeyEvent &event) { return focus && focus->OnKey(event); }

bool ktWindow::OnHotKey(const ktKeyEvent &) { return false; }

void ktWindow::SetSize(uint32_t newW, uint32_t newH) {
    w = newW;
    h = newH;
}

void ktWindow::SetFont(const ktFont *newFont) {
    font = newFont;
    draw_list.font = newFont;
    for (ktComponent *component : components) component->SetFont(newFont);
}

uint32_t ktWindow::LineHeight() const { return font ? font->LineHeight() : lineHeightWithoutFont; }

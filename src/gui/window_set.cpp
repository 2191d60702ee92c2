#include "gui/window_set.h"

#include "gui/key_event.h"
#include "gui/window.h"

bool ktWindowSet::AddWindow(ktWindow &window) {
    if (windows.size() >= maxWindows) return false;
    window.index = static_cast<uint32_t>(windows.size());
    windows.push_back(&window);
    return true;
}

void ktWindowSet::Show(const ktWindow &window) {
    if (window.index >= windows.size() || windows[window.index] != &window) return;
    visible[0] = window.index;
    visible_count = 1;
}

void ktWindowSet::ClearWindows() {
    windows.clear();
    visible_count = 0;
    show_keys.clear();
    hot_keys.clear();
}

ktWindow *ktWindowSet::Visible(uint32_t place) const {
    if (place >= visible_count || place >= maxWindows) return nullptr;
    const uint32_t index = visible[place];
    return index < windows.size() ? windows[index] : nullptr;
}

bool ktWindowSet::OnKey(const ktKeyEvent &event) {
    if (const auto shown = show_keys.find(event.code); shown != show_keys.end()) {
        Show(*shown->second);
        return true;
    }
    const auto hot = hot_keys.find(event.code);
    if (hot != hot_keys.end() && hot->second->OnHotKey(event)) return true;
    if (overlay && overlay->OnKey(event)) return true;
    for (uint32_t place = 0; place < visible_count; ++place) {
        ktWindow *window = Visible(place);
        if (window && window->OnKey(event)) return true;
    }
    return false;
}

bool ktWindowSet::ToOverlayThenFirstHit(PointOperation operation, int32_t x, int32_t y) {
    if (overlay && (overlay->*operation)(x, y)) return true;
    for (uint32_t place = 0; place < visible_count; ++place) {
        ktWindow *window = Visible(place);
        if (window && window->HitTest(x, y)) return (window->*operation)(x, y);
    }
    return false;
}

bool ktWindowSet::OnLeftDown(int32_t x, int32_t y) {
    return ToOverlayThenFirstHit(&ktWindow::OnLeftDown, x, y);
}

bool ktWindowSet::OnLeftUp(int32_t x, int32_t y) { return ToOverlayThenFirstHit(&ktWindow::OnLeftUp, x, y); }

bool ktWindowSet::OnRightDown(int32_t x, int32_t y) {
    return ToOverlayThenFirstHit(&ktWindow::OnRightDown, x, y);
}

bool ktWindowSet::OnRightUp(int32_t x, int32_t y) {
    return ToOverlayThenFirstHit(&ktWindow::OnRightUp, x, y);
}

bool ktWindowSet::OnMouseMove(int32_t x, int32_t y) {
    return ToOverlayThenFirstHit(&ktWindow::OnMouseMove, x, y);
}

bool ktWindowSet::OnWheel(bool down) {
    if (overlay && overlay->OnWheel(down)) return true;
    for (uint32_t place = 0; place < visible_count; ++place) {
        ktWindow *window = Visible(place);
        if (window && window->OnWheel(down)) return true;
    }
    return false;
}

void ktWindowSet::SetSize(uint32_t w, uint32_t h) {
    for (ktWindow *window : windows) window->SetSize(w, h);
    if (overlay) overlay->SetSize(w, h);
}

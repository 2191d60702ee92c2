#include "views/overlay_window.h"

namespace {

constexpr uint32_t buttonW = 40;
constexpr uint32_t buttonH = 30;
constexpr uint32_t iconSide = 25;

} // namespace

ktOverlayWindow::ktOverlayWindow() {
    components = {&close_button, &maximize_button, &minimize_button, &resize_icon};
}

void ktOverlayWindow::SetNative(ktNativeWindow *native) {
    close_button.target = native;
    maximize_button.target = native;
    minimize_button.target = native;
}

void ktOverlayWindow::SetSize(uint32_t newW, uint32_t newH) {
    ktWindow::SetSize(newW, newH);
    close_button.SetRect(newW - buttonW, 0, buttonW, buttonH);
    maximize_button.SetRect(newW - 2 * buttonW, 0, buttonW, buttonH);
    minimize_button.SetRect(newW - 3 * buttonW, 0, buttonW, buttonH);
    resize_icon.SetRect(newW - iconSide, newH - iconSide, iconSide, iconSide);
    PlaceLabel(label, 2 * LineHeight());
    PlaceLabel(fps_label, 0);
    PlaceLabel(time_label, LineHeight());
}

void ktOverlayWindow::PlaceLabel(ktLabel &placed, uint32_t top) const {
    placed.SetFont(font);
    placed.x = 0;
    placed.y = top;
    placed.SetText(placed.text.Copy().data());
}

#include "views/tv_window.h"

ktTvWindow::ktTvWindow() { components = {&image_view}; }

void ktTvWindow::SetSize(uint32_t newW, uint32_t newH) {
    ktWindow::SetSize(newW, newH);
    image_view.SetRect(0, 100, 1280, 720);
}

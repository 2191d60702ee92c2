#include "views/log_window.h"

ktLogWindow::ktLogWindow() { components = {&clear, &copy, &view, &title}; }

void ktLogWindow::SetSize(uint32_t newW, uint32_t newH) {
    ktWindow::SetSize(newW, newH);
    LayOutView(bandHeight); // as much is empty below as above
    LayOutCorner();
}

void ktLogWindow::SetLines(ktLines *lines, const char *titleText) {
    ktLinesPage::SetLines(lines);
    title.SetText(titleText);
    LayOutCorner();
}

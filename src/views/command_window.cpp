#include "views/command_window.h"

ktCommandWindow::ktCommandWindow() { components = {&clear, &copy, &title, &input, &view, &prompt_label}; }

bool ktCommandWindow::OnKey(const ktKeyEvent &event) {
    return input.OnFocusKey(*this, event) || ktWindow::OnKey(event);
}

void ktCommandWindow::SetSize(uint32_t newW, uint32_t newH) {
    ktWindow::SetSize(newW, newH);
    const uint32_t line = LineHeight();
    title.SetText("Command window");
    view.bottom_align = true; // next to the command line
    prompt_label.SetRect(x, y + h - line, w, line);
    input.SetRect(x, y + h - 2 * line, w, line);
    LayOutView(2 * line);
    LayOutCorner();
}

#include "views/mem_view_window.h"

#include "gui/key_event.h"
#include "platform/native_message.h"

namespace {

constexpr uint32_t viewTop = 200;
constexpr uint32_t aroundView = 350; ///< pixels of the height that are not the view's

} // namespace

ktMemViewWindow::ktMemViewWindow() { components = {&view, &input}; }

bool ktMemViewWindow::OnKey(const ktKeyEvent &event) {
    if (!ktWindow::OnKey(event)) return false;
    const bool isEnter = event.key == ktKeyEnter && !event.is_char;
    if (isEnter && input.address.kind != ktAddress::kindNone) view.Show(input.address);
    return true;
}

void ktMemViewWindow::SetSize(uint32_t newW, uint32_t newH) {
    ktWindow::SetSize(newW, newH);
    const uint32_t line = LineHeight();
    const uint32_t width = w / 4 * 3;
    view.SetRect(x, y + viewTop, width, h > aroundView ? h - aroundView : 0);
    input.SetRect(x, y + viewTop - line, width, line);
}

#include "views/lines_page.h"

namespace {

constexpr uint32_t buttonSize = 20;
constexpr uint32_t clearRight = 50; ///< from the button's left edge to that of the page
constexpr uint32_t copyRight = 30;
constexpr uint32_t titleMargin = 10;
constexpr uint32_t titleBase = 95; ///< lower edge of the title

} // namespace

void ktLinesPage::SetLines(ktLines *lines) {
    view.lines = lines;
    clear.target = lines;
    copy.target = lines;
}

void ktLinesPage::LayOutView(uint32_t below) {
    const uint32_t around = bandHeight + below;
    view.SetRect(x, y + bandHeight, w, h > around ? h - around : 0); // the window can be as low as the band
}

void ktLinesPage::LayOutCorner() {
    clear.SetRect(x + w - clearRight, y + bandHeight, buttonSize, buttonSize);
    copy.SetRect(x + w - copyRight, y + bandHeight, buttonSize, buttonSize);
    title.x = w - title.w - titleMargin;
    title.y = y + titleBase - LineHeight();
}

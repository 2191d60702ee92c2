#include "views/fps_label.h"

#include <array>
#include <cstdio>

#include "gui/renderer.h"

bool ktFpsLabel::Draw(ktDrawList &list) {
    if (!visible || !renderer) return false;
    std::array<char, textSize> number;
    // Infinite before the first frame has ended.
    const double frames = 1000000 / static_cast<double>(renderer->frame_time_us.Get());
    std::snprintf(number.data(), number.size(), "%.2f", frames);
    SetText(number.data());
    return ktLabel::Draw(list);
}

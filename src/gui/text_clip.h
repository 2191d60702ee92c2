#pragma once

#include "gui/component.h"
#include "gui/draw_list.h"

/// While one lives, the text of `list` is clipped to a component's rectangle and the three pixels above it:
/// glyphs stand that much higher than the row they belong to. The clip box itself is given without this lift.
class ktTextClip {
public:
    ktTextClip(ktDrawList &clippedList, const ktComponent &component) : list(clippedList) {
        list.clip_x = static_cast<int16_t>(component.x.Get());
        list.clip_y = static_cast<int16_t>(component.y.Get());
        list.clip_w = static_cast<int16_t>(component.w.Get());
        list.clip_h = static_cast<int16_t>(component.h.Get() + lift);
        list.clip_on = true;
    }
    ~ktTextClip() { list.clip_on = false; }
    ktTextClip(const ktTextClip &) = delete;
    ktTextClip &operator=(const ktTextClip &) = delete;

private:
    static constexpr uint32_t lift = 3;

    ktDrawList &list;
};

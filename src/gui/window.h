#pragma once

#include "gui/draw_list.h"
#include "gui/relaxed.h"

#include <cstdint>
#include <vector>

class ktComponent;
class ktFont;
struct ktKeyEvent;

/// One full-size page: a flat array of components and the draw list that they draw into. Draw runs on the
/// render thread, everything else on the main thread. Made once, at start, and kept to the end.
class ktWindow {
public:
    ktWindow() = default;
    ktWindow(const ktWindow &) = delete;
    ktWindow &operator=(const ktWindow &) = delete;

    /// Draws the components from the last to the first, so that the first lies on top. False when not
    /// visible.
    virtual bool Draw();
    /// Strictly inside.
    virtual bool HitTest(int32_t px, int32_t py) const;
    /// The first component under the point gets the focus and the press. True when it consumed it.
    virtual bool OnLeftDown(int32_t px, int32_t py);
    virtual bool OnLeftUp(int32_t px, int32_t py);
    /// As OnLeftDown: the right button moves the focus, too.
    virtual bool OnRightDown(int32_t px, int32_t py);
    virtual bool OnRightUp(int32_t px, int32_t py);
    /// Tells every component whether the pointer is over it. Always false.
    virtual bool OnMouseMove(int32_t px, int32_t py);
    /// To the component with the focus, wherever the pointer is.
    virtual bool OnWheel(bool down);
    virtual bool OnKey(const ktKeyEvent &event);
    virtual bool OnHotKey(const ktKeyEvent &event);
    /// Stores the size and lays the components out.
    virtual void SetSize(uint32_t newW, uint32_t newH);

    /// For the window, its draw list and all of its components.
    void SetFont(const ktFont *newFont);
    /// Height of a line of text in pixels; 20 without a font.
    uint32_t LineHeight() const;
    /// Takes the focus from whoever has it and gives it to `component`.
    void MoveFocus(ktComponent *component);

    ktComponent *focus = nullptr;
    const ktFont *font = nullptr;
    uint32_t index = 0; ///< place among the pages
    ktRelaxed<uint32_t> x = 0;
    ktRelaxed<uint32_t> y = 0;
    ktRelaxed<uint32_t> w = 0;
    ktRelaxed<uint32_t> h = 0;
    ktDrawList draw_list;
    ktRelaxed<bool> visible = true;
    std::vector<ktComponent *>
        components; ///< in hit-test order; not owned, unchanged once the window is made

protected:
    ~ktWindow() = default; // each window is destroyed by its own type

private:
    ktComponent *ComponentAt(int32_t px, int32_t py) const;
};

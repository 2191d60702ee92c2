#pragma once

#include "gui/relaxed.h"

#include <cstdint>

class ktDrawList;
class ktFont;
struct ktKeyEvent;

enum ktComponentKind : uint32_t {
    ktKindButton = 1,
    ktKindLabel = 2,
    ktKindResizeIcon = 3,
    ktKindTextInput = 4,
    ktKindTextView = 5,
    ktKindContextView = 6,
    ktKindDisasmView = 7,
    ktKindMemoryView = 8,
    ktKindImageView = 9,
};

/// True when a point lies strictly inside a rectangle, that is not on its edge. A corner may be at a position
/// below zero: a window narrower than its buttons puts some of them left of its own edge.
bool ktIsInside(int32_t px, int32_t py, uint32_t x, uint32_t y, uint32_t w, uint32_t h);

/// A rectangle that draws itself and takes mouse and key events. Draw runs on the render thread, everything
/// else on the main thread. An event operation that returns true has consumed the event. Points are window
/// pixels.
class ktComponent {
public:
    ktComponent() = default;
    virtual ~ktComponent() = default;
    ktComponent(const ktComponent &) = delete;
    ktComponent &operator=(const ktComponent &) = delete;

    /// A ktComponentKind, constant for each class.
    virtual uint32_t GetKind() const = 0;
    /// Strictly inside: a point on the edge is not.
    virtual bool HitTest(int32_t px, int32_t py) const;
    /// Appends geometry, or rewrites what an earlier call appended. True when anything was drawn.
    virtual bool Draw(ktDrawList &list);
    virtual bool OnLeftDown(int32_t px, int32_t py);
    virtual bool OnLeftUp(int32_t px, int32_t py);
    virtual bool OnRightDown(int32_t px, int32_t py);
    virtual bool OnRightUp(int32_t px, int32_t py);
    virtual bool OnKey(const ktKeyEvent &event);
    /// Holds or drops the pressed state.
    virtual bool SetPressed(bool pressed);
    virtual bool OnMouseMove(int32_t px, int32_t py);
    virtual bool OnWheel(bool down);
    /// The pointer is over it; called for every move, not just on entry.
    virtual bool OnHoverEnter();
    /// The pointer is not over it; likewise.
    virtual bool OnHoverLeave();
    virtual bool SetFocus(bool focused);
    virtual void SetFont(const ktFont *newFont);
    virtual const ktFont *GetFont() const;

    /// Sets the rectangle, in window pixels.
    void SetRect(uint32_t newX, uint32_t newY, uint32_t newW, uint32_t newH);

    const ktFont *font = nullptr; ///< set before the render thread starts
    ktRelaxed<bool> visible = true;
    ktRelaxed<uint32_t> x = 0;
    ktRelaxed<uint32_t> y = 0;
    ktRelaxed<uint32_t> w = 0;
    ktRelaxed<uint32_t> h = 0;
    uint32_t reserved[2] = {}; ///< always 0
};

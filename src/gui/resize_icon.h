#pragma once

#include "gui/button.h"
#include "gui/component.h"

/// Marks the corner that resizes the window: a triangle that shows while the pointer is over it. It takes no
/// press, so that a press there reaches the native window.
class ktResizeIcon final : public ktComponent {
public:
    ktResizeIcon();
    uint32_t GetKind() const override { return ktKindResizeIcon; }
    bool Draw(ktDrawList &list) override;
    bool OnHoverEnter() override;
    bool OnHoverLeave() override;

    ktHoverColor back{ktColorClear, ktColorButton};
    int32_t triangle_first = -1;
};

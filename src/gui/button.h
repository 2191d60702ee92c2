#pragma once

#include "gui/color.h"
#include "gui/component.h"
#include "gui/relaxed.h"

/// A colour that follows the pointer.
struct ktHoverColor {
    ktHoverColor(ktColor normalColor, ktColor hoverColor)
        : current(normalColor), normal(normalColor), hover(hoverColor) {}
    void Enter() { current = hover; }
    void Leave() { current = normal; }

    ktRelaxed<ktColor> current;
    ktColor normal;
    ktColor hover;
};

/// Fires once when the left button goes down and up over it with no move away in between.
class ktButton : public ktComponent {
public:
    uint32_t GetKind() const final { return ktKindButton; }
    bool OnLeftDown(int32_t px, int32_t py) override;
    bool OnLeftUp(int32_t px, int32_t py) override;
    bool SetPressed(bool isPressed) override;
    virtual void OnClick() = 0;

    bool pressed = false;
};

/// A button of 40 by 30 with a background and an icon that acts on a `Target`.
template <class Target>
class ktIconButton : public ktButton {
public:
    ktIconButton() {
        w = 40;
        h = 30;
    }
    bool OnHoverEnter() override {
        back.Enter();
        icon.Enter();
        return true;
    }
    bool OnHoverLeave() override {
        back.Leave();
        icon.Leave();
        return true;
    }

    Target *target = nullptr; ///< not owned; a click without one does nothing
    ktHoverColor back{ktColorClear, ktColorButton};
    ktHoverColor icon{ktColorButton, ktColorIconHover};
    int32_t back_first = -1;
};

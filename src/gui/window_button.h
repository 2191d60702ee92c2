#pragma once

#include <array>

#include "gui/button.h"

class ktNativeWindow;

/// Asks the native window to close. A cross.
class ktCloseButton final : public ktIconButton<ktNativeWindow> {
public:
    bool Draw(ktDrawList &list) override;
    void OnClick() override;

    int32_t cross_first = -1;
};

/// Maximises the native window, or restores it. A box, lower while the window is maximised.
class ktMaximizeButton final : public ktIconButton<ktNativeWindow> {
public:
    bool Draw(ktDrawList &list) override;
    void OnClick() override;

    std::array<int32_t, 4> side_first = {-1, -1, -1, -1}; ///< top, right, bottom, left
};

/// Minimises the native window. A line.
class ktMinimizeButton final : public ktIconButton<ktNativeWindow> {
public:
    bool Draw(ktDrawList &list) override;
    void OnClick() override;

    int32_t line_first = -1;
};

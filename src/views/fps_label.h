#pragma once

#include "gui/label.h"

class ktRenderer;

/// Frames a second, from the length of the renderer's last frame.
class ktFpsLabel final : public ktLabel {
public:
    bool Draw(ktDrawList &list) override;

    const ktRenderer *renderer = nullptr; ///< not owned; nothing is drawn without one
};

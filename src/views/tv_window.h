#pragma once

#include "gui/window.h"
#include "views/image_view.h"

/// The page of the target's display. Empty until a frame has come.
class ktTvWindow final : public ktWindow {
public:
    ktTvWindow();
    /// Stores the size; the picture's rectangle does not depend on it.
    void SetSize(uint32_t newW, uint32_t newH) override;

    ktImageView image_view;
};

#pragma once

#include "gui/label.h"
#include "gui/resize_icon.h"
#include "gui/window.h"
#include "gui/window_button.h"
#include "views/fps_label.h"
#include "views/time_label.h"

/// What lies over every page: the window buttons and the resize corner. Drawn last and asked first.
class ktOverlayWindow final : public ktWindow {
public:
    ktOverlayWindow();
    void SetSize(uint32_t newW, uint32_t newH) override;

    /// The window that the three buttons act on; null for none.
    void SetNative(ktNativeWindow *native);
    /// Whose frames the frame counter counts; null for none.
    void SetRenderer(const ktRenderer *renderer) { fps_label.renderer = renderer; }

    ktCloseButton close_button;
    ktMaximizeButton maximize_button;
    ktMinimizeButton minimize_button;
    ktResizeIcon resize_icon;
    // The labels have a place and a size and are no components: they neither draw nor take input.
    ktLabel label;
    ktFpsLabel fps_label;
    ktTimeLabel time_label;

private:
    /// At the left edge, as large as its text.
    void PlaceLabel(ktLabel &placed, uint32_t top) const;
};

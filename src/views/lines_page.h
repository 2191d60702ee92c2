#pragma once

#include "gui/label.h"
#include "gui/lines_button.h"
#include "gui/text_view.h"
#include "gui/window.h"

class ktLines;

/// What the pages with a line store have in common: a band with a title above the view, and two small buttons
/// in the view's corner.
class ktLinesPage : public ktWindow {
public:
    /// The store that is shown, emptied and copied.
    void SetLines(ktLines *lines);

    ktClearButton clear;
    ktCopyButton copy;
    ktLabel title;
    ktTextView view;

protected:
    ~ktLinesPage() = default;

    static constexpr uint32_t bandHeight = 100; ///< for the title and the buttons of the window

    /// Gives the view what is left between the band and `below` pixels at the bottom.
    void LayOutView(uint32_t below);
    /// The buttons and the title, as wide as its text is now.
    void LayOutCorner();
};

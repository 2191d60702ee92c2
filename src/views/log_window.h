#pragma once

#include "views/lines_page.h"

/// The page of a log.
class ktLogWindow final : public ktLinesPage {
public:
    ktLogWindow();
    void SetSize(uint32_t newW, uint32_t newH) override;
    /// The store of the log, and its title, which needs the font.
    void SetLines(ktLines *lines, const char *titleText);
};

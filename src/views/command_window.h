#pragma once

#include "gui/command_input.h"
#include "views/lines_page.h"

class ktCmdProcessor;

/// The page on show at start: the output of commands above a command line.
class ktCommandWindow final : public ktLinesPage {
public:
    ktCommandWindow();
    /// Alt with the grave key gives the command line the focus.
    bool OnKey(const ktKeyEvent &event) override;
    void SetSize(uint32_t newW, uint32_t newH) override;
    void SetProcessor(ktCmdProcessor *processor) { input.processor = processor; }

    ktCommandInput input;
    ktLabel prompt_label;
};

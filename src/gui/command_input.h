#pragma once

#include "gui/text_input.h"

#include <cstdint>

class ktCmdProcessor;
class ktCompletion;
class ktWindow;

/// A command line: Enter runs it, Esc cancels what runs, Up and Down recall earlier lines, Tab completes.
class ktCommandInput final : public ktTextInput {
public:
    bool OnKey(const ktKeyEvent &event) override;
    /// A busy processor gets nothing, and the text stays.
    bool OnEnter() override;
    bool OnEscape() override;
    /// Alt with the grave key gives it the focus of its page. False for other keys, and when it has it
    /// already.
    bool OnFocusKey(ktWindow &page, const ktKeyEvent &event);

    ktCmdProcessor *processor = nullptr; ///< not owned
    ktCompletion *completion = nullptr;  ///< not owned; without one there are no candidates
    bool completionActive = false;       ///< a cycle of candidates goes on
    uint32_t history_index = 0;          ///< of the line recalled, 1 being the newest; 0 for none

private:
    void Complete(bool forward);
    void RecallOlder();
    void RecallNewer();
};

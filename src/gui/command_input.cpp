#include "gui/command_input.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "commands/cmd_processor.h"
#include "gui/completion.h"
#include "gui/heap_text.h"
#include "gui/key_event.h"
#include "gui/window.h"
#include "platform/native_message.h"

namespace {

std::vector<const char *> HistoryOf(const ktCmdProcessor *processor) {
    return processor ? processor->History() : std::vector<const char *>();
}

} // namespace

bool ktCommandInput::OnKey(const ktKeyEvent &event) {
    if (event.key != ktKeyTab && event.key != ktKeyShift) completionActive = false;
    if (!event.is_char) {
        const bool plainOrShift = (event.mods & ~uint32_t{ktModShift}) == 0;
        if (event.key == ktKeyTab && plainOrShift) Complete((event.mods & ktModShift) == 0);
        if (event.key == ktKeyUp) RecallOlder();
        if (event.key == ktKeyDown) RecallNewer();
    }
    return ktTextInput::OnKey(event);
}

bool ktCommandInput::OnEnter() {
    if (!processor || processor->IsBusy()) return false;
    const std::array<char, textSize> line = text.Copy();
    processor->RunLine(line.data());
    Clear();
    history_index = 0;
    return false;
}

bool ktCommandInput::OnEscape() {
    if (processor && processor->IsBusy()) processor->CancelRunning();
    return ktTextInput::OnEscape();
}

bool ktCommandInput::OnFocusKey(ktWindow &page, const ktKeyEvent &event) {
    if (event.is_char || event.key != ktKeyGrave || event.mods != ktModAlt || page.focus == this)
        return false;
    page.MoveFocus(this);
    return true;
}

void ktCommandInput::Complete(bool forward) {
    if (!completion) return;
    if (!completionActive) completionActive = completion->BuildCandidates(text.Copy().data());
    if (!completionActive) return;
    const ktHeapText line(completion->NextCandidate(forward));
    if (!line) return;
    SetText(line.get());
    // Typing goes on inside the quotes. A line that was cut has lost its last one.
    const size_t size = std::strlen(line.get());
    if (size > 0 && size <= length && line.get()[size - 1] == '"') caret = static_cast<uint32_t>(size - 1);
}

void ktCommandInput::RecallOlder() {
    const std::vector<const char *> history = HistoryOf(processor);
    const auto count = static_cast<uint32_t>(history.size());
    history_index = std::min(history_index + 1, count);
    if (history_index > 0) SetText(history[count - history_index]);
}

void ktCommandInput::RecallNewer() {
    const std::vector<const char *> history = HistoryOf(processor);
    const auto count = static_cast<uint32_t>(history.size());
    history_index = std::min(history_index > 0 ? history_index - 1 : 0, count);
    if (history_index > 0) {
        SetText(history[count - history_index]);
    } else {
        Clear();
    }
}

#include "views/debug_window.h"

#include "commands/cmd_processor.h"
#include "gui/key_event.h"
#include "platform/native_message.h"
#include "session/session.h"

namespace {

struct HotKey {
    uint64_t key;
    const char *line;
};

constexpr HotKey hotKeys[] = {{ktKeyF11, "t"}, {ktKeyF4, "break"}, {ktKeyF5, "g"}};

constexpr uint32_t codeTop = 200;
constexpr uint32_t codeMargins = 350; ///< pixels above and below the code
constexpr uint32_t inputGap = 20;     ///< below the command line
constexpr uint32_t locationColumn = 208;

} // namespace

ktDebugWindow::ktDebugWindow() {
    components = {&input, &spare_label, &registers, &code, &core_label, &location_label};
}

void ktDebugWindow::SetProcessor(ktCmdProcessor *newProcessor) {
    processor = newProcessor;
    input.processor = newProcessor;
}

void ktDebugWindow::SetSession(ktSession *newSession, ktDisasm *newDisasm) {
    ktSession *const known = newSession ? newSession : session.Get();
    if (!known) return;
    const ktLockGuard guard(known->viewLock);
    session_number = session_number + 1;
    code.disasm = newDisasm;
    code.disasm_lock = newSession ? &newSession->disasmLock : nullptr;
    session = newSession;
}

bool ktDebugWindow::Draw() {
    ktSession *const known = session;
    const bool mayLookUp = known && known->viewLock.TryEnter();
    // With the lock, what the session owns stays; it may have been taken away just before.
    const bool hasSession = mayLookUp ? session == known : known != nullptr;
    code.may_look_up = mayLookUp && hasSession;
    location_label.may_look_up = mayLookUp && hasSession;
    if (!hasSession) {
        ShowSnapshot(nullptr);
    } else {
        TakeSnapshot(*known);
    }
    const bool drawn = ktWindow::Draw();
    if (mayLookUp) known->viewLock.Leave();
    return drawn;
}

/// Shows the published snapshot. While there is none of this session, and while it is being written, what the
/// views have stays.
void ktDebugWindow::TakeSnapshot(ktSession &from) {
    const uint32_t number = session_number;
    if (number != shown_session) { // that one's spaces and modules are gone
        ShowSnapshot(nullptr);
        code.decoded.Forget();
        location_label.Forget();
    }
    shown_session = number;
    ktSnapshot *const published = from.publishedSnapshot;
    if (!published || !from.hasPublished || !published->lock.TryEnter()) return;
    from.heldSnapshot = published;
    // It may have become the write record before the lock was had, and have been emptied.
    const bool isPublished = from.publishedSnapshot == published;
    if (isPublished) shown = *published;
    from.heldSnapshot = nullptr;
    published->lock.Leave();
    if (isPublished) ShowSnapshot(&shown);
}

void ktDebugWindow::ShowSnapshot(const ktSnapshotState *state) {
    registers.context = state ? &state->context : nullptr;
    code.snapshot = state;
    core_label.snapshot = state;
    location_label.snapshot = state;
}

bool ktDebugWindow::OnHotKey(const ktKeyEvent &event) {
    ktCmdProcessor *const runner = processor;
    if (event.is_char || !runner) return false;
    if ((event.mods & (ktModCtrl | ktModAlt | ktModShift)) != 0) return false;
    for (const HotKey &hotKey : hotKeys) {
        if (hotKey.key != event.key) continue;
        runner->RunLine(hotKey.line);
        return true;
    }
    return false;
}

bool ktDebugWindow::OnKey(const ktKeyEvent &event) {
    return input.OnFocusKey(*this, event) || ktWindow::OnKey(event);
}

void ktDebugWindow::SetSize(uint32_t newW, uint32_t newH) {
    ktWindow::SetSize(newW, newH);
    const uint32_t left = x;
    const uint32_t top = y;
    const uint32_t line = LineHeight();
    const uint32_t codeWidth = newW / 4 * 3;
    registers.SetRect(codeWidth, top, newW / 4, newH);
    code.SetRect(left, top + codeTop, codeWidth, newH > codeMargins ? newH - codeMargins : 0);
    spare_label.SetRect(left, top + newH - line, newW, line);
    input.SetRect(left, top + newH - inputGap - line, newW, line);
    core_label.SetRect(left, top + codeTop - line, newW, line);
    location_label.SetRect(left + locationColumn, top + codeTop - line, newW, line);
}

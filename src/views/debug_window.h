#pragma once

#include "gui/command_input.h"
#include "gui/label.h"
#include "gui/window.h"
#include "session/snapshot.h"
#include "views/context_view.h"
#include "views/core_info_label.h"
#include "views/disasm_view.h"
#include "views/location_label.h"

#include <cstdint>

class ktCmdProcessor;
class ktDisasm;
class ktSession;

/// The page that shows the stopped target: code round the instruction pointer, registers, the core, the
/// source location, and a command line. All of it comes from the session's published snapshot, asked for in
/// each frame.
class ktDebugWindow final : public ktWindow {
public:
    ktDebugWindow();

    /// Never waits: what cannot be had at once is shown as it was in the last frame.
    bool Draw() override;
    /// Alt+grave gives the command line the focus.
    bool OnKey(const ktKeyEvent &event) override;
    /// F11 steps, F4 breaks in, F5 runs.
    bool OnHotKey(const ktKeyEvent &event) override;
    void SetSize(uint32_t newW, uint32_t newH) override;

    /// Gives the processor to the command line as well. Null for none. Main thread, before the render thread
    /// starts.
    void SetProcessor(ktCmdProcessor *newProcessor);
    /// The session and its disassembler, or two nulls; when this returns, no frame uses what was set before.
    /// It is one session object, connected or not, that outlives the render thread. Any thread.
    void SetSession(ktSession *newSession, ktDisasm *newDisasm);

    ktCommandInput input;
    ktLabel spare_label; ///< nothing writes to it
    ktContextView registers;
    ktDisasmView code;
    ktCoreInfoLabel core_label;
    ktLocationLabel location_label;
    ktRelaxed<ktCmdProcessor *> processor = nullptr;
    ktRelaxed<ktSession *> session = nullptr;

private:
    void TakeSnapshot(ktSession &from);
    void ShowSnapshot(const ktSnapshotState *state);

    ktSnapshotState shown; ///< of the record taken last; a record itself is written again by later updates
    ktRelaxed<uint32_t> session_number = 0; ///< goes up with each SetSession
    uint32_t shown_session = 0;             ///< whose snapshot `shown` is
};

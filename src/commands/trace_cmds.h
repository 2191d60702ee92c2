#pragma once

#include "commands/basic_cmd.h"
#include "commands/cancel_flags.h"

struct ktSnapshot;

/// A command that steps the target, with a whole session update behind each step. Interrupts are ignored.
/// A step or update that fails leaves the command marked as running, so a Cancel that comes later stops
/// its next run.
class ktTraceCmd : public ktSessionCmd {
public:
    bool Cancel() final;

protected:
    using ktSessionCmd::ktSessionCmd;
    /// Steps once, then goes on until `reached(snapshot)` is true of the state behind a step.
    template <typename Reached>
    uint32_t StepUntil(Reached &&reached);
    bool Step();

    ktCancelFlags flags;
};

/// `t`: so many instructions, at least one.
class ktTCmd final : public ktTraceCmd {
public:
    ktTCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `tua`: until the instruction pointer has a value.
class ktTuaCmd final : public ktTraceCmd {
public:
    ktTuaCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `tui`: until an instruction whose text begins with a word.
class ktTuiCmd final : public ktTraceCmd {
public:
    ktTuiCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

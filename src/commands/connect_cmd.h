#pragma once

#include "commands/basic_cmd.h"
#include "commands/cancel_flags.h"
#include "platform/clock.h"

/// `connect`: tries until the target is there or the user cancels.
class ktConnectCmd final : public ktSessionCmd {
public:
    /// `clock`, which must outlive the command, waits between the tries.
    explicit ktConnectCmd(ktClock &clock = SystemClock());
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
    bool Cancel() override;

private:
    ktClock &clock;
    ktCancelFlags flags;
};

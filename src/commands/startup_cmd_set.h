#pragma once

#include "commands/cls_cmd.h"
#include "commands/cmd_set.h"
#include "commands/connect_cmd.h"
#include "commands/help_cmd.h"
#include "commands/quit_cmd.h"

#include <vector>

/// What the user has without a connection.
class ktStartupCmdSet final : public ktCmdSet {
public:
    /// `clock`, which must outlive the set, waits between the tries of `connect`.
    explicit ktStartupCmdSet(ktClock &clock = SystemClock());
    ktCmd *GetCommand(uint64_t index) override;

private:
    ktQuitCmd quit;
    ktHelpCmd help;
    ktConnectCmd connect;
    ktClsCmd cls;
    std::vector<ktCmd *> commands;
};

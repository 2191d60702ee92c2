#pragma once

#include "commands/basic_cmd.h"

/// `q`: asks the main window to close and does not wait for it. Without windows, ktCmdBadArguments.
class ktQuitCmd final : public ktCmdWith<ktNeedsGui> {
public:
    ktQuitCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

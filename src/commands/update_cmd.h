#pragma once

#include "commands/basic_cmd.h"

/// `update`: takes the target's state anew, with nothing from the page cache.
class ktUpdateCmd final : public ktSessionCmd {
public:
    ktUpdateCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

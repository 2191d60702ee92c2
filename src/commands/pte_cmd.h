#pragma once

#include "commands/basic_cmd.h"

/// `pte`: how the target's paging turns an address into a physical one.
class ktPteCmd final : public ktSessionOutputCmd {
public:
    ktPteCmd() : ktSessionOutputCmd("pte") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

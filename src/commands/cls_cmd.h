#pragma once

#include "commands/basic_cmd.h"

/// `cls`: empties the output store.
class ktClsCmd final : public ktCmdWith<ktNeedsOutput> {
public:
    ktClsCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

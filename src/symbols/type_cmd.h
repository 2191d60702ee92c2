#pragma once

#include "commands/basic_cmd.h"

/// `dt`: shows the type that a location string names, and the value of a basic type at an address.
class ktDtCmd final : public ktSessionOutputCmd {
public:
    ktDtCmd() : ktSessionOutputCmd("dt") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

#pragma once

#include "commands/basic_cmd.h"

/// `help`: lists the commands of the current set, or prints the detailed help of one.
class ktHelpCmd final : public ktCmdWith<ktNeedsOutput, ktNeedsProcessor> {
public:
    ktHelpCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;

private:
    void ListCommands();
    void PrintHelp(const char *name);
};

#pragma once

#include "commands/basic_cmd.h"

/// `disconnect`: ends the connection, and with it the set that holds this command.
class ktDisconnectCmd final : public ktSessionCmd {
public:
    ktDisconnectCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

#pragma once

#include "commands/basic_cmd.h"

/// `srcpath`: shows or sets the folder in which a module's source files are searched.
class ktSrcPathCmd final : public ktSessionOutputCmd {
public:
    ktSrcPathCmd() : ktSessionOutputCmd("srcpath") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

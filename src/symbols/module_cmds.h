#pragma once

#include "commands/basic_cmd.h"
#include "session/context.h"

/// `lmf`: loads a file into the current space.
class ktLmfCmd final : public ktSessionPoolCmd {
public:
    ktLmfCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `mod.detect`: finds the image around an address in target memory and loads it.
class ktModDetectCmd final : public ktSessionCmd {
public:
    ktModDetectCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;

private:
    ktContext context;
};

/// `um`: unloads the module of that name.
class ktUmCmd final : public ktSessionCmd {
public:
    ktUmCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `cm`: unloads every module.
class ktCmCmd final : public ktSessionCmd {
public:
    ktCmCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

#pragma once

#include "commands/basic_cmd.h"

struct ktRunControl;

/// A command that is one call of the engine, and maybe an update of the session behind it.
class ktRunControlCmd : public ktSessionCmd {
public:
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) final;

protected:
    ktRunControlCmd(const char *name, const ktRunControl &newControl);

private:
    const ktRunControl &control;
};

class ktGCmd final : public ktRunControlCmd {
public:
    ktGCmd();
};

class ktBreakCmd final : public ktRunControlCmd {
public:
    ktBreakCmd();
};

class ktSwCmd final : public ktRunControlCmd {
public:
    ktSwCmd();
};

class ktRestartCmd final : public ktRunControlCmd {
public:
    ktRestartCmd();
};

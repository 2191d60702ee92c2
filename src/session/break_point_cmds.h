#pragma once

#include "commands/basic_cmd.h"

/// `bp`: makes a breakpoint at an address or, for a text with "|", a location, and prints its id.
class ktBpCmd final : public ktSessionOutputCmd {
public:
    ktBpCmd() : ktSessionOutputCmd("bp") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `bc`: removes the breakpoint of an id.
class ktBcCmd final : public ktSessionOutputCmd {
public:
    ktBcCmd() : ktSessionOutputCmd("bc") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `bcls`: removes all breakpoints. A failure is silent.
class ktBclsCmd final : public ktSessionOutputCmd {
public:
    ktBclsCmd() : ktSessionOutputCmd("bcls") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `bl`: lists the breakpoints; with an argument that begins with "r", after a reload.
class ktBlCmd final : public ktSessionOutputCmd {
public:
    ktBlCmd() : ktSessionOutputCmd("bl") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

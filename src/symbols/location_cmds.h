#pragma once

#include "commands/basic_cmd.h"

/// `xl`: prints the addresses of the locations that a location string names.
class ktXlCmd final : public ktSessionOutputCmd {
public:
    ktXlCmd() : ktSessionOutputCmd("xl") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `xa`: prints the locations of an address, with the line of source that starts there.
class ktXaCmd final : public ktSessionOutputCmd {
public:
    ktXaCmd() : ktSessionOutputCmd("xa") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `sl`: prints every function whose location contains all of the given texts, in any case.
class ktSlCmd final : public ktSessionOutputCmd {
public:
    ktSlCmd() : ktSessionOutputCmd("sl") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

#pragma once

#include "commands/basic_cmd.h"

/// `em`: lists the modules. The end of a module is its last byte.
class ktEmCmd final : public ktSessionOutputCmd {
public:
    ktEmCmd() : ktSessionOutputCmd("em") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `ecu`: lists the units of the modules that a location string names. The end of a unit is one past its
/// last byte.
class ktEcuCmd final : public ktSessionOutputCmd {
public:
    ktEcuCmd() : ktSessionOutputCmd("ecu") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `efn`: lists the functions of the units that a location string names, with ends as those of units.
class ktEfnCmd final : public ktSessionOutputCmd {
public:
    ktEfnCmd() : ktSessionOutputCmd("efn") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

#pragma once

#include "commands/basic_cmd.h"
#include "session/context.h"

/// `cpuid`: what the target's processor answers for a leaf.
class ktCpuidCmd final : public ktSessionOutputCmd {
public:
    ktCpuidCmd() : ktSessionOutputCmd("cpuid") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// `rdmsr`: the value of a model-specific register.
class ktRdmsrCmd final : public ktSessionOutputCmd {
public:
    ktRdmsrCmd() : ktSessionOutputCmd("rdmsr") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;
};

/// One line for each register whose bit is set in the context's `wantedMask`, in order.
void ktPrintRegisters(const ktContext &context, ktLines &output);

/// `r`: all registers but the debug registers, as the engine has them now.
class ktRCmd final : public ktSessionOutputCmd {
public:
    ktRCmd() : ktSessionOutputCmd("r") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;

private:
    ktContext context; ///< its wantedMask says which registers are shown
};

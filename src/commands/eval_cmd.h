#pragma once

#include "commands/basic_cmd.h"

/// `eval`: prints the value of an expression in hexadecimal. Nothing is printed for one that is malformed
/// or divides by zero.
class ktEvalCmd final : public ktCmdWith<ktNeedsOutput> {
public:
    ktEvalCmd();
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;

private:
    char text[256] = {};
};

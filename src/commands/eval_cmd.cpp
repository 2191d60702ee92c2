#include "commands/eval_cmd.h"

#include "app/lines.h"
#include "commands/cmd_line.h"
#include "commands/expression.h"

#include <cinttypes>
#include <cstdio>

ktEvalCmd::ktEvalCmd() : ktCmdWith("eval") {}

uint32_t ktEvalCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    ktExpression expression;
    uint64_t value;
    if (argCount == 0 || !expression.Parse(args[0].ValueText()) || !expression.Evaluate(&value))
        return ktCmdBadExpression;
    std::snprintf(text, sizeof(text), "%" PRIX64, value);
    if (output) output->AddLine(text);
    return ktCmdOk;
}

#include "commands/session_cmd_set.h"

ktSessionCmdSet::ktSessionCmdSet()
    : commands{&breakIn,
               &cls,
               &cm,
               &disconnect,
               &displayType,
               &ecu,
               &efn,
               &em,
               &eval,
               &go,
               &help,
               &lmf,
               &modDetect,
               &quit,
               &restart,
               &sl,
               &srcpath,
               &sw,
               &trace,
               &traceUntilAddress,
               &traceUntilInstruction,
               &unassemble,
               &um,
               &update,
               &xa,
               &xl} {}

ktCmd *ktSessionCmdSet::GetCommand(uint64_t index) {
    return index < commands.size() ? commands[index] : nullptr;
}

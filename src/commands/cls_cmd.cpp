#include "commands/cls_cmd.h"

#include "app/lines.h"

ktClsCmd::ktClsCmd() : ktCmdWith("cls") {}

uint32_t ktClsCmd::Execute(ktCmdArg *, uint32_t) {
    if (output) {
        output->LockExclusive();
        output->Clear();
        output->UnlockExclusive();
    }
    return ktCmdCleared;
}

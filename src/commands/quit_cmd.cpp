#include "commands/quit_cmd.h"

#include "app/gui_link.h"

ktQuitCmd::ktQuitCmd() : ktCmdWith("q") {}

uint32_t ktQuitCmd::Execute(ktCmdArg *, uint32_t) {
    if (!gui) return ktCmdBadArguments;
    gui->PostClose();
    return ktCmdOk;
}

#include "commands/disconnect_cmd.h"

#include "session/session.h"

ktDisconnectCmd::ktDisconnectCmd() : ktSessionCmd("disconnect") {}

uint32_t ktDisconnectCmd::Execute(ktCmdArg *, uint32_t) {
    if (!session) return ktCmdFailed;
    session->Disconnect(); // deletes this command
    return ktCmdOk;
}

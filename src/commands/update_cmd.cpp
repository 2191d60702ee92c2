#include "commands/update_cmd.h"

#include "commands/session_status.h"

ktUpdateCmd::ktUpdateCmd() : ktSessionCmd("update") {}

uint32_t ktUpdateCmd::Execute(ktCmdArg *, uint32_t) {
    const uint32_t status = ktSessionStatus(session);
    if (status == ktCmdNoSpaces) return status;
    session->DropPageCache();
    if (status != ktCmdOk) return status;
    return session->Update(ktUpdateDropCache) ? ktCmdOk : ktCmdUpdateFailed;
}

#include "commands/update_cmd.h"

#include "commands/session_status.h"

ktUpdateCmd::ktUpdateCmd() : ktSessionCmd("update") {}

uint32_t ktUpdateCmd::Execute(ktCmdArg *, uint32_t) {
    const uint32_t status = ktSessionStatus(session);
    if (status == ktCmdNoSpaces) return status;
    session->DropPageCache();
    if (status != ktCmdOk) return status;
    // Updates that many events left behind must not make the end wait for a target that no longer answers.
    if (session->IsEnding()) return ktCmdUpdateFailed;
    return session->Update(ktUpdateDropCache) ? ktCmdOk : ktCmdUpdateFailed;
}

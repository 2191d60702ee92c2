#pragma once

#include "commands/cmd.h"
#include "session/dbg_eng.h"
#include "session/session.h"
#include "symbols/space_list.h"

/// What a command that talks to the target finds: ktCmdNoSpaces without a connection, ktCmdNoEngine
/// without an engine, else ktCmdOk. `session` may be null.
inline uint32_t ktSessionStatus(const ktSession *session) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    return session->engine ? ktCmdOk : ktCmdNoEngine;
}

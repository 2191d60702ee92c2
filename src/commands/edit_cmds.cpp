#include "commands/edit_cmds.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iterator>

#include "app/lines.h"
#include "commands/cmd_line.h"
#include "commands/session_status.h"
#include "commands/target_root.h"

ktMemEditCmd::ktMemEditCmd(const char *name, uint32_t elementWidth)
    : ktSessionOutputCmd(name), width(elementWidth) {}

uint32_t ktMemEditCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    ktAddress address;
    if (argCount == 0 || !ParseAddress(args[0].text, address)) return ktCmdNotFound;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    if (!session->cpuIdentity) return ktCmdNoEngine;
    ktFillRoot(*session, address);
    const uint32_t size = StoreElements(args, argCount);
    uint64_t done = 0;
    if (session->engine->WriteTarget(address, buffer, size, &done) < 0) return ktCmdEngineFailed;
    char line[64];
    std::snprintf(line, sizeof(line), "Written %" PRId64 " bytes", static_cast<int64_t>(done));
    output->AddLine(line);
    session->DropPageCache(); // no cached page may hide what was written
    return ktCmdOk;
}

/// The values behind the address, little-endian and cut to the width; returns their size in bytes.
uint32_t ktMemEditCmd::StoreElements(const ktCmdArg *args, uint32_t argCount) {
    std::fill(std::begin(buffer), std::end(buffer), uint8_t{0});
    const uint32_t count = std::min(argCount - 1, maxElements);
    for (uint32_t i = 0; i < count * width; ++i)
        buffer[i] = static_cast<uint8_t>(args[1 + i / width].value >> (8 * (i % width)));
    return count * width;
}

ktEbCmd::ktEbCmd() : ktMemEditCmd("eb", 1) {}

ktEwCmd::ktEwCmd() : ktMemEditCmd("ew", 2) {}

ktEdCmd::ktEdCmd() : ktMemEditCmd("ed", 4) {}

ktEqCmd::ktEqCmd() : ktMemEditCmd("eq", 8) {}

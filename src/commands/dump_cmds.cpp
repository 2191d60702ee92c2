#include "commands/dump_cmds.h"

#include <algorithm>

#include "commands/cmd_line.h"
#include "commands/session_status.h"
#include "session/private_space_reader.h"
#include "symbols/location.h"
#include "symbols/space.h"

namespace {

constexpr uint64_t defaultCount = 0x100;
constexpr uint8_t elementFlags = ktDumpHex | ktDumpAddress | ktDumpOffset;

} // namespace

ktMemDumpCmd::ktMemDumpCmd(const char *name, uint32_t elementWidth, uint8_t flags)
    : ktSessionOutputCmd(name) {
    format.elementWidth = elementWidth;
    format.flags = flags;
}

uint32_t ktMemDumpCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    ktSpace *space = session->spaces->Current();
    if (!space) return ktCmdReadFailed;
    if (argCount < GetMinArgs()) return ktCmdBadArguments;
    const uint64_t count = argCount > 1 ? args[1].value : defaultCount;

    ktAddress start;
    if (FindStart(*space, args[0], start)) {
        ktPrivateSpaceReader reader(*space, session->engine.get());
        return Dump(start.value, count, [&](uint64_t address, uint32_t size, uint64_t &done) {
            uint32_t came = 0;
            const bool read = reader.ReadAt(address, buffer, size, came);
            done = came;
            return read;
        });
    }
    if (!session->engine) return ktCmdNoEngine;
    return Dump(start.value, count, [&](uint64_t address, uint32_t size, uint64_t &done) {
        start.value = address;
        return session->engine->ReadTarget(start, buffer, size, &done) >= 0;
    });
}

/// True when `start` is an address of the space, to be read through its cache.
bool ktMemDumpCmd::FindStart(const ktSpace &space, const ktCmdArg &arg, ktAddress &start) {
    ktLocationList results;
    if (FindByName(space, results, arg.text, 0)) {
        start.value = results.front().address;
        return true;
    }
    if (ParseAddress(arg.text, start) && (start.kind != ktAddress::kindLinear || start.root != 0))
        return false;
    start.value = arg.value;
    return true;
}

/// Prints chunk by chunk; what a read that fails leaves behind stays printed. A read without a byte fails.
template <typename Read>
uint32_t ktMemDumpCmd::Dump(uint64_t address, uint64_t count, Read &&read) {
    format.sink = output;
    for (uint64_t shown = 0; shown < count;) {
        const auto size = static_cast<uint32_t>(std::min<uint64_t>(count - shown, sizeof(buffer)));
        uint64_t done = 0;
        if (!read(address + shown, size, done) || done == 0) return ktCmdReadFailed;
        done = std::min<uint64_t>(done, size);
        format.Dump(address + shown, {buffer, static_cast<size_t>(done)}, static_cast<int64_t>(shown));
        shown += done;
    }
    return ktCmdOk;
}

ktDbCmd::ktDbCmd() : ktMemDumpCmd("db", 1, elementFlags | ktDumpChars) {}

ktDwCmd::ktDwCmd() : ktMemDumpCmd("dw", 2, elementFlags) {}

ktDdCmd::ktDdCmd() : ktMemDumpCmd("dd", 4, elementFlags) {}

ktDqCmd::ktDqCmd() : ktMemDumpCmd("dq", 8, elementFlags) {}

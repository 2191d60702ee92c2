#include "commands/port_cmds.h"

#include <algorithm>

#include "commands/cmd_line.h"
#include "commands/session_status.h"

namespace {

constexpr uint64_t defaultCount = 1;

ktAddress PortAddress(uint64_t port, uint8_t width) {
    ktAddress address;
    address.kind = ktAddress::kindIoPort;
    address.value = port;
    address.width = width;
    return address;
}

} // namespace

ktPortReadCmd::ktPortReadCmd(const char *name, uint8_t accessWidth)
    : ktSessionOutputCmd(name), width(accessWidth) {
    format.flags = ktDumpHex | ktDumpChars | ktDumpAddress | ktDumpOffset;
}

uint32_t ktPortReadCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (argCount < GetMinArgs()) return ktCmdBadArguments;
    const uint32_t status = ktSessionStatus(session);
    if (status == ktCmdNoSpaces) return status;
    const uint64_t count = argCount > 1 ? args[1].value : defaultCount;
    if (count == 0) return ktCmdOk;
    if (status != ktCmdOk) return status;
    ktAddress port = PortAddress(args[0].value, width);
    format.sink = output;
    for (uint64_t shown = 0; shown < count;) {
        const uint64_t size = std::min<uint64_t>(count - shown, sizeof(buffer));
        uint64_t done = 0;
        if (session->engine->ReadTarget(port, buffer, size, &done) < 0 || done == 0) return ktCmdReadFailed;
        done = std::min(done, size);
        format.Dump(shown, {buffer, static_cast<size_t>(done)}, 0); // each chunk counts from offset 0 again
        shown += done;
    }
    return ktCmdOk;
}

ktInbCmd::ktInbCmd() : ktPortReadCmd("inb", 1) {}

ktInwCmd::ktInwCmd() : ktPortReadCmd("inw", 2) {}

ktIndCmd::ktIndCmd() : ktPortReadCmd("ind", 4) {}

ktPortWriteCmd::ktPortWriteCmd(const char *name, uint8_t accessWidth)
    : ktSessionCmd(name), width(accessWidth) {}

uint32_t ktPortWriteCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (argCount < GetMinArgs()) return ktCmdBadArguments;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    uint8_t bytes[sizeof(uint64_t)];
    for (uint32_t i = 0; i < sizeof(bytes); ++i) bytes[i] = static_cast<uint8_t>(args[1].value >> (8 * i));
    uint64_t done = 0;
    ktAddress port = PortAddress(args[0].value, width);
    return session->engine->WriteTarget(port, bytes, width, &done) < 0 ? ktCmdWriteFailed : ktCmdOk;
}

ktOutbCmd::ktOutbCmd() : ktPortWriteCmd("outb", 1) {}

ktOutwCmd::ktOutwCmd() : ktPortWriteCmd("outw", 2) {}

ktOutdCmd::ktOutdCmd() : ktPortWriteCmd("outd", 4) {}

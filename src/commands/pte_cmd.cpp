#include "commands/pte_cmd.h"

#include <cinttypes>

#include "app/cut_text.h"
#include "app/lines.h"
#include "commands/cmd_line.h"
#include "commands/session_status.h"
#include "commands/target_root.h"
#include "session/page_walk_result.h"
#include "session/page_walk_text.h"

uint32_t ktPteCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    ktAddress address;
    if (argCount == 0 || !ParseAddress(args[0].text, address)) return ktCmdNotFound;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    if (!session->cpuIdentity) return ktCmdNoEngine;
    ktFillRoot(*session, address);
    uint64_t physical = 0;
    ktPageWalkResult walk;
    if (session->engine->ToPhysical(address, &physical) < 0) return ktCmdEngineFailed;
    if (session->engine->WalkPage(address, &walk) < 0) return ktCmdEngineFailed;

    char name[ktAddressTextSize];
    FormatAddress(address, name);
    char line[128];
    ktCutText text(line);
    text.Print("Page walk for address %s:", name);
    output->AddLine(line);
    ktPutPageWalk(*output, walk, address.root, session->cpuIdentity->physicalAddressBits);
    if (address.kind != ktAddress::kindVirtual && address.kind != ktAddress::kindLinear) return ktCmdOk;
    const char *kind = address.kind == ktAddress::kindVirtual ? "Virtual" : "Linear";
    text.Clear();
    text.Print("%s %s is %016" PRIX64 " physical", kind, name, physical);
    output->AddLine(line);
    return ktCmdOk;
}

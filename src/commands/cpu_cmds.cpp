#include "commands/cpu_cmds.h"

#include <algorithm>
#include <cinttypes>

#include "app/cut_text.h"
#include "app/lines.h"
#include "commands/cmd_line.h"
#include "commands/session_status.h"
#include "session/register_names.h"

uint32_t ktCpuidCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (argCount < GetMinArgs()) return ktCmdBadArguments;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    const auto leaf = static_cast<uint32_t>(args[0].value);
    const auto subleaf = argCount > 1 ? static_cast<uint32_t>(args[1].value) : 0;
    uint32_t words[4] = {};
    if (session->engine->CpuId(leaf, subleaf, words) < 0) return ktCmdFailed;
    static constexpr const char *names[] = {"EAX", "EBX", "ECX", "EDX"};
    char line[32];
    ktCutText text(line);
    for (uint32_t i = 0; i < 4; ++i) {
        text.Clear();
        text.Print("%s: 0x%08" PRIX32, names[i], words[i]);
        output->AddLine(line);
    }
    return ktCmdOk;
}

uint32_t ktRdmsrCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (argCount < GetMinArgs()) return ktCmdBadArguments;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    ktAddress msr;
    msr.kind = ktAddress::kindMsr;
    msr.value = args[0].value;
    uint64_t value = 0;
    uint64_t done = 0;
    if (session->engine->ReadTarget(msr, &value, sizeof(value), &done) < 0) return ktCmdFailed;
    char line[64];
    ktCutText text(line);
    text.Print("0x%016" PRIX64 ": 0x%016" PRIX64, msr.value, value);
    output->AddLine(line);
    return ktCmdOk;
}

void ktPrintRegisters(const ktContext &context, ktLines &output) {
    char line[64];
    ktCutText text(line);
    for (uint32_t i = 0; i < ktRegisterCount; ++i) {
        if ((context.wantedMask >> std::min(i, 63u) & 1) == 0) continue;
        text.Clear();
        text.Print("%s: 0x%016" PRIX64, ktRegisterName(i), context.values[i]);
        output.AddLine(line);
    }
}

uint32_t ktRCmd::Execute(ktCmdArg *, uint32_t) {
    if (!session || !session->engine) return ktCmdNoEngine;
    if (session->engine->GetContext(&context) < 0) return ktCmdEngineFailed;
    ktPrintRegisters(context, *output);
    return ktCmdOk;
}

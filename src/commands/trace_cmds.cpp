#include "commands/trace_cmds.h"

#include "commands/cmd_line.h"
#include "commands/session_status.h"
#include "disasm/disasm.h"

#include <cstring>

namespace {

constexpr uint32_t instructionTextSize = 16; // holds a mnemonic

/// True when the text of the instruction at the snapshot's instruction pointer begins with `prefix`.
bool InstructionBeginsWith(const ktSnapshot &snapshot, ktDisasm &disasm, const char *prefix) {
    const uint64_t ip = snapshot.context.values[ktRegIp];
    const uint64_t offset = ip - snapshot.codeAddress.value;
    if (ip < snapshot.codeAddress.value || offset >= snapshot.codeSize) return false;
    disasm.SetMode(static_cast<int32_t>(snapshot.context.mode));
    disasm.SetAddress(ip);
    char text[instructionTextSize] = {};
    if (disasm.Disassemble(snapshot.code + offset, snapshot.codeSize - offset, text, sizeof(text)) == 0)
        return false;
    const size_t length = std::strlen(prefix);
    return length < sizeof(text) && std::memcmp(text, prefix, length) == 0;
}

/// Asks `reached` of the snapshot of a stop, under its lock: the update of another command may turn it into
/// the one being written. While the target runs a snapshot has the registers of some stop before.
template <typename Reached>
bool IsTrueOf(ktSnapshot *snapshot, Reached &reached) {
    if (!snapshot) return false;
    const ktLockGuard guard(snapshot->lock);
    return !snapshot->stop.running && reached(*snapshot);
}

} // namespace

bool ktTraceCmd::Cancel() {
    flags.Request();
    return false;
}

bool ktTraceCmd::Step() { return session->engine->Step(true) >= 0; }

template <typename Reached>
uint32_t ktTraceCmd::StepUntil(Reached &&reached) {
    flags.Begin();
    do {
        if (!Step()) return ktCmdFailed;
        if (!session->Update(0)) return ktCmdUpdateFailed;
        if (IsTrueOf(session->publishedSnapshot, reached)) {
            flags.End();
            return ktCmdOk;
        }
    } while (!flags.TakeRequest());
    return ktCmdCancelled;
}

ktTCmd::ktTCmd() : ktTraceCmd("t") {}

uint32_t ktTCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    uint64_t left = argCount > 0 && args[0].value != 0 ? args[0].value : 1;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    flags.Begin();
    for (; left > 0; --left) {
        if (!Step()) return ktCmdFailed;
        if (!session->Update(0)) return ktCmdUpdateFailed;
        if (flags.TakeRequest()) return ktCmdCancelled;
    }
    flags.End();
    return ktCmdOk;
}

ktTuaCmd::ktTuaCmd() : ktTraceCmd("tua") {}

uint32_t ktTuaCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (argCount < GetMinArgs()) return ktCmdBadArguments;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    const uint64_t target = args[0].value;
    return StepUntil(
        [target](const ktSnapshot &snapshot) { return snapshot.context.values[ktRegIp] == target; });
}

ktTuiCmd::ktTuiCmd() : ktTraceCmd("tui") {}

uint32_t ktTuiCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (argCount < GetMinArgs()) return ktCmdBadArguments;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    if (!session->disasm) return ktCmdNoDisasm;
    // A busy processor releases the texts of a line before it queues it.
    const char *prefix = args[0].text;
    if (!prefix) return ktCmdBadArguments;
    return StepUntil([this, prefix](const ktSnapshot &snapshot) {
        const ktLockGuard guard(session->disasmLock);
        return InstructionBeginsWith(snapshot, *session->disasm, prefix);
    });
}

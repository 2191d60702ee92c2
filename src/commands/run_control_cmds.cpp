#include "commands/run_control_cmds.h"

#include "commands/cmd_line.h"
#include "commands/session_status.h"

struct ktRunControl {
    ktStatus (*call)(ktDbgEng &engine, uint64_t argument);
    bool updates;
    uint32_t updateFlags;
};

namespace {

const ktRunControl goControl = {[](ktDbgEng &engine, uint64_t) { return engine.Go(); }, true,
                                ktUpdateAssumeRunning};
const ktRunControl breakControl = {[](ktDbgEng &engine, uint64_t) { return engine.BreakIn(); }, true, 0};
const ktRunControl switchControl = {[](ktDbgEng &engine, uint64_t core) { return engine.SwitchCpu(core); },
                                    true, 0};
// The target's own event brings the update.
const ktRunControl restartControl = {[](ktDbgEng &engine, uint64_t) { return engine.Reboot(); }, false, 0};

} // namespace

ktRunControlCmd::ktRunControlCmd(const char *name, const ktRunControl &newControl)
    : ktSessionCmd(name), control(newControl) {}

uint32_t ktRunControlCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (argCount < GetMinArgs()) return ktCmdBadArguments;
    if (const uint32_t status = ktSessionStatus(session)) return status;
    const uint64_t eventsBefore = session->EventCount();
    if (control.call(*session->engine, argCount > 0 ? args[0].value : 0) < 0) return ktCmdFailed;
    if (control.updates) session->Update(control.updateFlags);
    // A target that stopped again at once was updated before it was taken to be running.
    const bool assumed = (control.updateFlags & ktUpdateAssumeRunning) != 0;
    if (assumed && session->EventCount() != eventsBefore) session->Update(0);
    return ktCmdOk;
}

ktGCmd::ktGCmd() : ktRunControlCmd("g", goControl) {}

ktBreakCmd::ktBreakCmd() : ktRunControlCmd("break", breakControl) {}

ktSwCmd::ktSwCmd() : ktRunControlCmd("sw", switchControl) {}

ktRestartCmd::ktRestartCmd() : ktRunControlCmd("restart", restartControl) {}

#pragma once

#include "commands/cls_cmd.h"
#include "commands/cmd_set.h"
#include "commands/disconnect_cmd.h"
#include "commands/eval_cmd.h"
#include "commands/help_cmd.h"
#include "commands/quit_cmd.h"
#include "commands/run_control_cmds.h"
#include "commands/trace_cmds.h"
#include "commands/update_cmd.h"
#include "disasm/u_cmd.h"
#include "symbols/enumerate_cmds.h"
#include "symbols/location_cmds.h"
#include "symbols/module_cmds.h"
#include "symbols/srcpath_cmd.h"
#include "symbols/type_cmd.h"

#include <vector>

/// What the user has while connected.
class ktSessionCmdSet final : public ktCmdSet {
public:
    ktSessionCmdSet();
    ktCmd *GetCommand(uint64_t index) override;

private:
    ktBreakCmd breakIn;
    ktClsCmd cls;
    ktCmCmd cm;
    ktDisconnectCmd disconnect;
    ktDtCmd displayType;
    ktEcuCmd ecu;
    ktEfnCmd efn;
    ktEmCmd em;
    ktEvalCmd eval;
    ktGCmd go;
    ktHelpCmd help;
    ktLmfCmd lmf;
    ktModDetectCmd modDetect;
    ktQuitCmd quit;
    ktRestartCmd restart;
    ktSlCmd sl;
    ktSrcPathCmd srcpath;
    ktSwCmd sw;
    ktTCmd trace;
    ktTuaCmd traceUntilAddress;
    ktTuiCmd traceUntilInstruction;
    ktUCmd unassemble;
    ktUmCmd um;
    ktUpdateCmd update;
    ktXaCmd xa;
    ktXlCmd xl;
    std::vector<ktCmd *> commands;
};

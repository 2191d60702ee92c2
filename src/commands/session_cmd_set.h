#pragma once

#include "commands/cls_cmd.h"
#include "commands/cmd_set.h"
#include "commands/cpu_cmds.h"
#include "commands/disconnect_cmd.h"
#include "commands/dump_cmds.h"
#include "commands/edit_cmds.h"
#include "commands/eval_cmd.h"
#include "commands/help_cmd.h"
#include "commands/port_cmds.h"
#include "commands/pte_cmd.h"
#include "commands/quit_cmd.h"
#include "commands/run_control_cmds.h"
#include "commands/trace_cmds.h"
#include "commands/update_cmd.h"
#include "disasm/u_cmd.h"
#include "session/break_point_cmds.h"
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
    ktBcCmd breakPointClear;
    ktBclsCmd breakPointsClear;
    ktBlCmd breakPointList;
    ktBpCmd breakPointSet;
    ktBreakCmd breakIn;
    ktClsCmd cls;
    ktCmCmd cm;
    ktCpuidCmd cpuid;
    ktDbCmd db;
    ktDdCmd dd;
    ktDisconnectCmd disconnect;
    ktDqCmd dq;
    ktDtCmd displayType;
    ktDwCmd dw;
    ktEbCmd eb;
    ktEcuCmd ecu;
    ktEdCmd ed;
    ktEfnCmd efn;
    ktEmCmd em;
    ktEqCmd eq;
    ktEvalCmd eval;
    ktEwCmd ew;
    ktGCmd go;
    ktHelpCmd help;
    ktInbCmd inb;
    ktIndCmd ind;
    ktInwCmd inw;
    ktLmfCmd lmf;
    ktModDetectCmd modDetect;
    ktOutbCmd outb;
    ktOutdCmd outd;
    ktOutwCmd outw;
    ktPteCmd pte;
    ktQuitCmd quit;
    ktRCmd registers;
    ktRdmsrCmd rdmsr;
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

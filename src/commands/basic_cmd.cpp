#include "commands/basic_cmd.h"

#include "commands/cmd_decl.h"
#include "commands/cmd_help.h"

ktBasicCmd::ktBasicCmd(const char *name) : decl(ktFindCmdDecl(name)), help(ktFindCmdHelp(name)) {}

const char *ktBasicCmd::GetName() const { return decl.name; }

const char *ktBasicCmd::GetSummary() const { return help.summary; }

const char *ktBasicCmd::GetHelpLine(uint32_t index) const {
    return index < help.lines.size() ? help.lines[index] : nullptr;
}

uint32_t ktBasicCmd::GetMaxArgs() const { return decl.maxArgs; }

uint32_t ktBasicCmd::GetMinArgs() const { return decl.minArgs; }

uint32_t ktBasicCmd::GetArgType(uint32_t index) const { return decl.TypeAt(index); }

bool ktBasicCmd::IsSynchronous() const { return decl.runs == ktCmdRuns::atOnce; }

bool ktBasicCmd::IsHidden() const { return decl.hidden; }

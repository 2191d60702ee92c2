#include "commands/help_cmd.h"

#include "app/lines.h"
#include "commands/cmd_line.h"
#include "commands/cmd_processor.h"

ktHelpCmd::ktHelpCmd() : ktCmdWith("help") {}

uint32_t ktHelpCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!output || !processor) return ktCmdOk;
    if (argCount == 0)
        ListCommands();
    else
        PrintHelp(args[0].ValueText());
    return ktCmdOk;
}

void ktHelpCmd::ListCommands() {
    for (const ktCmd *command : processor->Commands())
        if (!command->IsHidden()) output->AddLine(command->GetSummary());
}

void ktHelpCmd::PrintHelp(const char *name) {
    const ktCmd *command = processor->FindCommand(name);
    if (!command || command->IsHidden()) return;
    for (uint32_t index = 0; const char *line = command->GetHelpLine(index); ++index) output->AddLine(line);
}

#include "symbols/srcpath_cmd.h"

#include "app/lines.h"
#include "commands/cmd_line.h"
#include "session/session.h"
#include "symbols/location.h"
#include "symbols/module.h"
#include "symbols/space_list.h"

uint32_t ktSrcPathCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    const ktSpace *space = session->spaces->Current();
    const char *name = argCount > 0 ? args[0].text : nullptr;
    ktLocationList results;
    if (!space || !FindByName(*space, results, name, ktLocationModule)) return ktCmdNotFound;
    ktModule *module = results.front().module;
    if (argCount > 1) return module->sourcePath.Assign(args[1].text) ? ktCmdOk : ktCmdNoPath;
    const char *path = module->sourcePath.Get();
    output->AddLine(path ? path : "Default source path is not set");
    return ktCmdOk;
}

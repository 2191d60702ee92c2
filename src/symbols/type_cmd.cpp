#include "symbols/type_cmd.h"

#include "app/lines.h"
#include "commands/cmd_line.h"
#include "session/private_space_reader.h"
#include "session/session.h"
#include "symbols/location.h"
#include "symbols/location_format.h"
#include "symbols/space.h"
#include "symbols/space_list.h"
#include "symbols/type_display.h"

namespace {

constexpr uint64_t typeMask = ktLocationModule | ktLocationUnit | ktLocationType;

void ListLocations(const ktLocationList &results, ktLines &output) {
    output.AddLine("Multiple results:");
    ktLocationFormat format;
    format.mask = typeMask;
    for (const ktLocation &location : results) {
        if (format.Format(location)) output.AddLine(format.text.c_str());
    }
}

} // namespace

uint32_t ktDtCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    ktSpace *space = session->spaces->Current();
    ktLocationList results;
    if (!space || argCount == 0 || !FindByName(*space, results, args[0].text, typeMask)) return ktCmdNoType;
    if (results.size() > 1) {
        ListLocations(results, *output);
        return ktCmdOk;
    }
    const ktType &type = *results.front().type;
    if (argCount == 1) {
        ShowType(type, nullptr, *output);
        return ktCmdOk;
    }
    ktPrivateSpaceReader reader(*space, session->engine.get());
    const bool placed = reader.Reader().Seek(args[1].value);
    ShowType(type, placed ? &reader.Reader() : nullptr, *output);
    return ktCmdOk;
}

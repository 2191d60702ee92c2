#include "symbols/enumerate_cmds.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "app/cut_text.h"
#include "app/lines.h"
#include "commands/cmd_line.h"
#include "session/session.h"
#include "symbols/bare_format.h"
#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/location.h"
#include "symbols/module.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

namespace {

constexpr size_t lineSize = 256;
constexpr size_t nameWidth = 32;

/// A name as the listings show it: printed as a format of its own, cut to one character less than the
/// column is wide, and filled up with blanks from the length of the name on. So a long name has no blank
/// behind it, and one whose percent signs print less than they take up ends there and is not filled up.
class PaddedName {
public:
    explicit PaddedName(const char *name) {
        if (!name) name = "(null)";
        ktCutText text(padded, nameWidth);
        PrintBareFormat(text, name);
        const size_t length = std::strlen(name);
        if (length >= nameWidth) return;
        std::fill(padded + length, padded + nameWidth, ' ');
        padded[nameWidth] = 0;
    }
    const char *Get() const { return padded; }

private:
    char padded[nameWidth + 1];
};

/// Adds the line of a unit or a function.
template <class T>
void AddObjectLine(ktLines &output, const T &object) {
    char buffer[lineSize];
    ktCutText line(buffer);
    line.Print("%08" PRId64 " %s ", static_cast<int64_t>(object.GetId()),
               PaddedName(object.name.Get()).Get());
    if (object.ranges.IsEmpty()) {
        line.Put("No code contribution");
    } else {
        line.Print("0x%016" PRIX64 " - 0x%016" PRIX64, object.ranges.Low(), object.ranges.High());
    }
    output.AddLine(line.Get());
}

/// The locations that the first argument names; false when there are none.
bool FindArgument(const ktSession &session, ktLocationList &results, const ktCmdArg *args, uint32_t argCount,
                  uint64_t mask) {
    const ktSpace *space = session.spaces->Current();
    return space && argCount > 0 && FindByName(*space, results, args[0].text, mask);
}

} // namespace

uint32_t ktEmCmd::Execute(ktCmdArg *, uint32_t) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    output->AddLine(
        "Module name:                     Start:               End:                Entry:                ");
    const ktSpace *space = session->spaces->Current();
    if (!space) return ktCmdOk;
    for (const ktModule *module : space->Modules()) {
        char buffer[lineSize];
        ktCutText line(buffer);
        line.Print("%s 0x%016" PRIX64 " - 0x%016" PRIX64 "  0x%016" PRIX64,
                   PaddedName(module->name.Get()).Get(), module->Start(), module->Start() + module->size - 1,
                   module->entry);
        output->AddLine(line.Get());
    }
    return ktCmdOk;
}

uint32_t ktEcuCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    ktLocationList results;
    if (!FindArgument(*session, results, args, argCount, ktLocationModule)) return ktCmdNotFound;
    output->AddLine("Compiation Unit:                          Start:               End:               ");
    for (const ktLocation &location : results) {
        for (const ktCompUnit *unit : location.module->CompUnits()) AddObjectLine(*output, *unit);
    }
    return ktCmdOk;
}

uint32_t ktEfnCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    ktLocationList results;
    if (!FindArgument(*session, results, args, argCount, ktLocationModule | ktLocationUnit))
        return ktCmdNotFound;
    output->AddLine("Function:                                 Start:               End:               ");
    for (const ktLocation &location : results) {
        if (!location.unit) break;
        for (const ktFunction *function : location.unit->Functions()) AddObjectLine(*output, *function);
    }
    return ktCmdOk;
}

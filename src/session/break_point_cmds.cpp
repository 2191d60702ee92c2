#include "session/break_point_cmds.h"

#include "app/hex.h"
#include "app/lines.h"
#include "commands/cmd_line.h"
#include "commands/session_status.h"
#include "commands/target_root.h"
#include "session/break_point.h"
#include "session/break_point_manager.h"
#include "symbols/function.h"
#include "symbols/location.h"
#include "symbols/module.h"
#include "symbols/space.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr uint32_t lineSize = 128; // holds each of the lines below
constexpr uint64_t functionParts = ktLocationModule | ktLocationUnit | ktLocationFunction;

void AddFormatted(ktLines &output, const char *format, ...) __attribute__((format(printf, 2, 3)));

void AddFormatted(ktLines &output, const char *format, ...) {
    char line[lineSize];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    output.AddLine(line);
}

/// ktCmdOk when there are breakpoints to work on.
uint32_t BreakPointStatus(const ktSession *session) {
    if (const uint32_t status = ktSessionStatus(session)) return status;
    return session->breakPoints ? ktCmdOk : ktCmdNoEngine;
}

/// True for the location of a function. Everything else is an address: its reader passes over what is no
/// digit, so a function's name must not come there.
bool IsLocation(const char *text) { return std::strchr(text, '|') != nullptr; }

/// True when there can be code of `location` at `address`. What the linker has dropped is described at 0 all
/// the same. A relocatable file has no image whose bounds could tell.
bool IsInImage(const ktLocation &location, uint64_t address) {
    return location.module->size == 0 || location.module->Holds(address);
}

/// The address of the first function of `results` that has one. A function of several parts has no entry of
/// its own, and begins with the first of them; another one without an entry is only declared.
bool FindEntry(const ktLocationList &results, uint64_t &entry) {
    for (const ktLocation &result : results) {
        entry = result.address;
        if (result.function->ranges.Holds(entry) && IsInImage(result, entry)) return true;
    }
    for (const ktLocation &result : results) {
        if (result.function->ranges.IsEmpty()) continue;
        entry = result.function->ranges.Ranges().front().start;
        if (IsInImage(result, entry)) return true;
    }
    return false;
}

/// The linear address of the function that `text` names, and of the offset behind that.
bool FindFunction(const ktSession &session, std::string text, ktAddress &address) {
    const ktSpace *space = session.spaces->Current();
    if (!space) return false;
    ktLocationList results;
    uint64_t offset = 0;
    // Names of operators have a plus of their own, so the text as a whole comes first.
    if (!FindByName(*space, results, text.c_str(), functionParts)) {
        const size_t plus = text.rfind('+');
        if (plus == text.npos) return false;
        offset = ktParseHex(text.c_str() + plus + 1);
        text.resize(plus);
        if (!FindByName(*space, results, text.c_str(), functionParts)) return false;
    }
    uint64_t entry = 0;
    if (!FindEntry(results, entry)) return false;
    address.Reset();
    address.kind = ktAddress::kindLinear;
    address.value = entry + offset;
    return true;
}

void AddBreakPointLine(ktLines &output, const ktBreakPoint &breakPoint) {
    ktAddress address;
    breakPoint.GetAddress(address);
    char text[ktAddressTextSize];
    if (!FormatAddress(address, text)) std::snprintf(text, sizeof(text), "%016" PRIX64, address.value);
    AddFormatted(output, "Breakpoint ID: %d, %c, address: %s", static_cast<int>(breakPoint.GetId()),
                 breakPoint.IsEnabled() ? 'E' : 'D', text);
}

} // namespace

uint32_t ktBpCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    const char *text = argCount > 0 ? args[0].text : nullptr;
    if (!text) return ktCmdNotFound;
    const bool isLocation = IsLocation(text);
    ktAddress address;
    if (!isLocation && !ParseAddress(text, address)) return ktCmdNotFound;
    if (const uint32_t status = BreakPointStatus(session)) return status;
    if (isLocation && !FindFunction(*session, text, address)) return ktCmdNotFound;
    ktFillRoot(*session, address);
    uint32_t id = 0;
    if (!session->breakPoints->Add(address, &id)) return ktCmdEngineFailed;
    AddFormatted(*output, "Breakpoint ID: %d", static_cast<int>(id));
    return ktCmdOk;
}

uint32_t ktBcCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (argCount == 0) return ktCmdBadArguments;
    if (const uint32_t status = BreakPointStatus(session)) return status;
    const uint64_t number = args[0].value;
    const auto id = static_cast<uint32_t>(number);
    if (id != number || !session->breakPoints->Remove(id)) return ktCmdEngineFailed;
    AddFormatted(*output, "Breakpoint %d cleared", static_cast<int>(id));
    return ktCmdOk;
}

uint32_t ktBclsCmd::Execute(ktCmdArg *, uint32_t) {
    if (const uint32_t status = BreakPointStatus(session)) return status;
    if (session->breakPoints->ClearAll()) output->AddLine("Breakpoints cleared");
    return ktCmdOk;
}

uint32_t ktBlCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (const uint32_t status = BreakPointStatus(session)) return status;
    const char *option = argCount > 0 ? args[0].text : nullptr;
    if (option && option[0] == 'r' && !session->breakPoints->Reload()) return ktCmdEngineFailed;
    std::vector<ktBreakPoint *> list;
    session->breakPoints->List(list);
    for (const ktBreakPoint *breakPoint : list) AddBreakPointLine(*output, *breakPoint);
    return ktCmdOk;
}

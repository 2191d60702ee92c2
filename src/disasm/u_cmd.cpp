#include "disasm/u_cmd.h"

#include <algorithm>

#include "app/hex_digits.h"
#include "app/lines.h"
#include "commands/cmd_line.h"
#include "disasm/disasm.h"
#include "session/dbg_eng.h"
#include "session/private_space_reader.h"
#include "session/session.h"
#include "symbols/function.h"
#include "symbols/location.h"
#include "symbols/source_lines.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

namespace {

constexpr uint64_t defaultCount = 12;
constexpr uint64_t functionCount = 1000; ///< most lines of a function that is listed whole
constexpr uint32_t codeSize = 16;        ///< bytes read for one instruction
constexpr uint32_t byteColumns = 6;
constexpr uint32_t lineSize = 256; ///< longer lines are cut

/// Bytes from `address` to the end of the address space, at most codeSize.
uint32_t ReadableSize(uint64_t address) {
    const uint64_t left = ~address; // one less than there are: never wraps
    return left < codeSize ? static_cast<uint32_t>(left) + 1 : codeSize;
}

/// The bytes column: all bytes and blanks, or, when there is no room for all, one byte less and dots.
char *PutBytes(char *out, const uint8_t *code, uint64_t length) {
    const bool fits = length <= byteColumns;
    const uint64_t shown = fits ? length : byteColumns - 1;
    for (uint64_t i = 0; i < shown; ++i) {
        out = ktPutHex(out, code[i], 2);
        *out++ = ' ';
    }
    if (!fits) return std::copy_n(".. ", 3, out);
    return std::fill_n(out, 3 * (byteColumns - shown), ' ');
}

} // namespace

uint32_t ktUCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    ktSpace *space = session->spaces->Current();
    if (!space) return ktCmdReadFailed;
    if (!session->disasm) return ktCmdNoDisasm;
    if (argCount == 0) return ktCmdBadArguments;
    const ktLockGuard guard(session->disasmLock);
    SetUpDisasm(*space);

    uint64_t start = args[0].value;
    if (FindByName(*space, results, args[0].text, 0)) start = results.front().address;
    results.clear();
    found = FindByAddress(*space, results, start);

    const bool countGiven = argCount > 1;
    uint64_t count = countGiven ? args[1].value : defaultCount;
    if (found && results.front().function && !countGiven) count = functionCount;
    return List(*space, start, count, countGiven);
}

/// Without a snapshot, and while the target's mode is unknown, the mode of the last use stays.
void ktUCmd::SetUpDisasm(ktSpace &space) const {
    session->disasm->SetSpace(&space);
    if (session->engineType == ktEngineStatic) {
        session->disasm->SetMode(ktModeLong64);
    } else if (session->publishedSnapshot) {
        session->disasm->SetMode(static_cast<int32_t>(session->stopMode));
    }
}

uint32_t ktUCmd::List(ktSpace &space, uint64_t start, uint64_t count, bool countGiven) {
    ktPrivateSpaceReader reader(space, session->engine.get());
    uint64_t address = start;
    for (uint64_t listed = 0; listed < count; ++listed) {
        if (found && UpdateAll(space, &results, address)) {
            const ktFunction *function = results.front().function;
            if (function && function->entry == address) {
                if (!countGiven && address != start) return ktCmdOk;
                format.Format(results.front());
                output->AddLine(format.text.c_str());
            }
        }
        if (found) ShowSourceLine(results.front(), address, *output);

        uint8_t code[codeSize] = {};
        uint32_t got = 0;
        if (!reader.ReadAt(address, code, ReadableSize(address), got)) return ktCmdReadFailed;
        const uint64_t next = address + AddInstruction(address, code, got);
        if (next < address) return ktCmdOk; // the address space ends here
        address = next;
    }
    return ktCmdOk;
}

/// Prints the line of one instruction; returns the distance to the next.
uint64_t ktUCmd::AddInstruction(uint64_t address, const uint8_t *code, uint32_t size) const {
    char line[lineSize];
    char *bytes = std::copy_n(": ", 2, ktPutHex(line, address, 16));
    char *text = bytes + size_t(3) * byteColumns;
    session->disasm->SetAddress(address);
    const uint64_t length =
        session->disasm->Disassemble(code, size, text, static_cast<uint32_t>(line + lineSize - text));
    PutBytes(bytes, code, length);
    if (length == 0) std::copy_n("???", 4, text);
    output->AddLine(line);
    return std::max<uint64_t>(length, 1);
}

#include "views/disasm_names.h"

#include <algorithm>

#include "gui/draw_list.h"
#include "session/context.h"
#include "session/register_names.h"

namespace {

constexpr std::string_view delimiters = " [],+-<>*";
constexpr std::string_view hexPrefix = "0x";

constexpr uint32_t registerParts[] = {ktRegWhole, ktRegPartLow32, ktRegPartLow16, ktRegPartLow8,
                                      ktRegPartHigh8};
constexpr char unknownInitial = 'U'; ///< of what stands for a part without a name; no register begins with it

constexpr const char *branches[] = {
    "jmp",   "je",    "jz",    "jne",      "jnz",     "ja",      "jnbe",   "jae",  "jnb", "jb",   "jnae",
    "jbe",   "jna",   "jg",    "jnle",     "jge",     "jnl",     "jl",     "jnge", "jle", "jng",  "jc",
    "jnc",   "jo",    "jno",   "js",       "jns",     "jpo",     "jnp",    "jpe",  "jp",  "jcxz", "jecxz",
    "loop",  "loopz", "loope", "loopnz",   "loopne",  "call",    "ret",    "iret", "int", "int3", "into",
    "bound", "enter", "leave", "sysenter", "sysexit", "syscall", "sysret",
};

bool Holds(const ktNameTrie &names, std::string_view token) { return names.Find(token).TerminalCount() != 0; }

} // namespace

ktDisasmNames::ktDisasmNames() {
    // A name that cannot be stored stays without its colour.
    for (const uint32_t part : registerParts) {
        for (uint32_t index = 0; index < ktRegisterCount; ++index) {
            const char *name = ktRegisterName(part + index);
            if (name[0] != unknownInitial) register_names.Insert(name, 0);
        }
    }
    for (const char *name : branches) branch_names.Insert(name, 0);
}

bool ktDisasmNames::FindColor(std::string_view token, ktColor &color) const {
    if (Holds(register_names, token)) {
        color = ktColorRegister;
    } else if (Holds(branch_names, token)) {
        color = ktColorBranch;
    } else if (token.size() > hexPrefix.size() && token.starts_with(hexPrefix)) {
        color = ktColorHexNumber;
    } else {
        return false;
    }
    return true;
}

void ktDisasmNames::Recolour(ktDrawList &list, int32_t first, std::string_view line) const {
    for (size_t start = 0; start < line.size();) {
        const size_t end = std::min(line.find_first_of(delimiters, start), line.size());
        ktColor color;
        if (FindColor(line.substr(start, end - start), color))
            list.RecolourText(first, static_cast<uint32_t>(start), static_cast<uint32_t>(end - start), color);
        start = end + 1;
    }
}

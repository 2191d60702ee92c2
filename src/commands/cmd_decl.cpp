#include "commands/cmd_decl.h"

#include <algorithm>
#include <cstring>

namespace {

using enum ktCmdRuns;

// name, required arguments, declared positions, kinds, thread, hidden. The edit family repeats its last kind.
const ktCmdDecl decls[] = {
    {"bc", 1, 1, {ktArgDecimal}, worker},
    {"bcls", 0, 0, {}, worker},
    {"bl", 0, 1, {ktArgString}, worker},
    {"bp", 1, 1, {ktArgAddressOrLocation}, worker},
    {"break", 0, 0, {}, atOnce},
    {"cls", 0, 0, {}, atOnce},
    {"cm", 0, 0, {}, atOnce},
    {"connect", 2, 3, {ktArgEngine, ktArgTransport, ktArgTransportAddress}, worker},
    {"cpuid", 1, 2, {ktArgHex, ktArgHex}, atOnce},
    {"db", 1, 2, {ktArgAddressOrLocation, ktArgHex}, worker},
    {"dd", 1, 2, {ktArgAddressOrLocation, ktArgHex}, worker},
    {"disconnect", 0, 0, {}, atOnce},
    {"dq", 1, 2, {ktArgAddressOrLocation, ktArgHex}, worker},
    {"dt", 1, 2, {ktArgTypeLocation, ktArgAddress}, atOnce},
    {"dw", 1, 2, {ktArgAddressOrLocation, ktArgHex}, worker},
    {"eb", 2, 32, {ktArgAddressOrLocation, ktArgHex}, worker},
    {"ecu", 1, 1, {ktArgModule}, atOnce},
    {"ed", 2, 32, {ktArgAddressOrLocation, ktArgHex}, worker},
    {"efn", 1, 1, {ktArgLocation}, atOnce},
    {"em", 0, 0, {}, atOnce},
    {"eq", 2, 32, {ktArgAddressOrLocation, ktArgHex}, worker},
    {"eval", 1, 1, {ktArgExpression}, atOnce},
    {"ew", 2, 32, {ktArgAddressOrLocation, ktArgHex}, worker},
    {"g", 0, 0, {}, atOnce},
    {"gfx.fb", 0, 0, {}, worker, true},
    {"help", 0, 1, {ktArgCommand}, atOnce},
    {"inb", 1, 2, {ktArgHex, ktArgHex}, atOnce},
    {"ind", 1, 2, {ktArgHex, ktArgHex}, atOnce},
    {"inw", 1, 2, {ktArgHex, ktArgHex}, atOnce},
    {"lmf", 1, 2, {ktArgPath, ktArgHex}, worker},
    {"lsf", 2, 2, {ktArgModule, ktArgPath}, worker},
    {"lsr", 1, 1, {ktArgModule}, worker},
    {"mod.detect", 0, 1, {ktArgAddressOrLocation}, atOnce},
    {"outb", 2, 2, {ktArgHex, ktArgHex}, atOnce},
    {"outd", 2, 2, {ktArgHex, ktArgHex}, atOnce},
    {"outw", 2, 2, {ktArgHex, ktArgHex}, atOnce},
    {"pte", 1, 1, {ktArgAddressOrLocation}, atOnce},
    {"q", 0, 0, {}, atOnce},
    {"r", 0, 0, {}, atOnce},
    {"rdmsr", 1, 1, {ktArgHex}, atOnce},
    {"restart", 0, 0, {}, atOnce},
    {"sl", 1, 4, {ktArgString, ktArgString, ktArgString, ktArgString}, atOnce},
    {"srcpath", 1, 2, {ktArgModule, ktArgPath}, atOnce},
    {"sw", 1, 1, {ktArgDecimal}, atOnce},
    {"sym.download.folder", 0, 1, {ktArgPath}, atOnce},
    {"sym.folder.add", 1, 1, {ktArgPath}, atOnce},
    {"sym.folder.delete", 1, 1, {ktArgDecimal}, atOnce},
    {"sym.folder.list", 0, 0, {}, atOnce},
    {"sym.server.add", 1, 1, {ktArgString}, atOnce},
    {"sym.server.delete", 1, 1, {ktArgDecimal}, atOnce},
    {"sym.server.list", 0, 0, {}, atOnce},
    {"t", 0, 1, {ktArgDecimal}, worker},
    {"tua", 1, 1, {ktArgAddress}, worker},
    {"tui", 1, 1, {ktArgString}, worker},
    {"u", 1, 2, {ktArgAddressOrLocation, ktArgDecimal}, atOnce},
    {"um", 1, 1, {ktArgModule}, atOnce},
    {"update", 0, 0, {}, worker},
    {"xa", 1, 1, {ktArgAddress}, atOnce},
    {"xl", 1, 1, {ktArgLocation}, atOnce},
};

const ktCmdDecl noDecl = {"", 0, 0, {}, atOnce};

} // namespace

ktArgType ktCmdDecl::TypeAt(uint32_t index) const {
    if (index >= maxArgs) return ktArgNone;
    const auto behindLast = std::find(types.begin(), types.end(), ktArgNone);
    const auto listed = static_cast<uint32_t>(behindLast - types.begin());
    return listed == 0 ? ktArgNone : types[std::min(index, listed - 1)];
}

std::span<const ktCmdDecl> ktAllCmdDecls() { return decls; }

const ktCmdDecl &ktFindCmdDecl(const char *name) {
    for (const ktCmdDecl &decl : decls)
        if (std::strcmp(decl.name, name) == 0) return decl;
    return noDecl;
}

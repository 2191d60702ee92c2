#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "commands/cmd.h"
#include "commands/cmd_processor.h"
#include "support/declared_cmd_set.h"

namespace {

void Check(bool holds, const char *fault) {
    if (holds) return;
    std::fprintf(stderr, "%s\n", fault);
    std::abort();
}

void CheckArg(const ktCmdArg &arg, uint32_t declared) {
    const ktArgKind &kind = ktFindArgKind(arg.type);
    Check(declared != ktArgNone && kind.tokenLimit != 0, "an argument of a kind without a parser");
    Check(arg.text && *arg.text && std::strlen(arg.text) < kind.tokenLimit, "a token outside its limit");
    if (kind.holdsText) Check(std::strcmp(arg.ValueText(), arg.text) == 0, "a value that is not its text");
    Check(kind.hasExtra == (arg.extra != nullptr), "a copy too many or too few");
}

void CheckLine(const ktCmdLine &line, const char *start, bool parsed) {
    Check(parsed == (line.error == ktCmdErrNone), "a result that contradicts the error");
    Check(line.position <= line.length && line.cursor == start + line.position,
          "a position outside the line");
    Check(!parsed || line.command, "a line without a command");
    if (!line.command) return Check(line.argCount == 0, "arguments without a command");
    Check(line.argCount <= line.command->GetMaxArgs(), "more arguments than positions");
    Check(!parsed || line.argCount >= line.command->GetMinArgs(), "too few arguments");
    for (uint32_t i = 0; i < line.argCount; ++i) CheckArg(line.args[i], line.command->GetArgType(i));
}

} // namespace

/// The input is one line, run against every command that there is.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static ktDeclaredCmdSet set;
    static ktCmdProcessor *const processor = [] {
        auto *created = new ktCmdProcessor; // for the life of the process; its worker never starts
        created->RegisterSet(&set);
        return created;
    }();
    const std::string text(reinterpret_cast<const char *>(data), size);
    ktCmdLine line = {};
    line.cursor = text.c_str();
    line.length = static_cast<uint32_t>(std::strlen(text.c_str()));
    const bool parsed = processor->ParseLine(text.c_str(), &line);
    CheckLine(line, text.c_str(), parsed);
    char *formatted = ktCmdProcessor::FormatLine(line);
    Check((formatted != nullptr) == (line.command != nullptr), "a line that cannot be formatted");
    std::free(formatted);
    ktCmdProcessor::ReleaseArgs(&line);
    return 0;
}
